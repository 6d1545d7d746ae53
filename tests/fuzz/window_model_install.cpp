// The rules for what the Apply button leads to: the downloads, and the install sequence in the handler of the last one.
#include "window_model.h"

#include "expected_texts.h"
#include "fuzz_target.h"

#include <QDir>
#include <QUrl>

#include <algorithm>
#include <memory>

namespace {

// What came of a program: whether it succeeded, and its failure or what it printed.
struct ProgramResult
{
    bool succeeded;
    QString text;
};

QString asText(const QByteArray& text)
{
    return QString::fromUtf8(text);
}

bool canBeOpened(const QFileInfo& target, const QString& name)
{
    const QByteArray bytes = name.toUtf8();
    return !name.isEmpty() && bytes.size() < 256 && !target.isDir();
}

bool isArchive(const QString& name)
{
    const QStringList suffixes{".bz2", ".tar", ".gz", ".gzip", ".Z"};
    return std::any_of(suffixes.cbegin(), suffixes.cend(), [&name](const QString& end) { return name.endsWith(end); });
}

ProgramResult resultOf(const ProgramEnd& end, const QString& program)
{
    if (!end.wasRun) {
        return {false, QStringLiteral("System command '") + program + QStringLiteral("' failed:\n  ") + end.reason};
    }
    return {!end.crashed && end.code == 0, asText(end.errors.isEmpty() ? end.output : end.errors)};
}

} // namespace

WindowModel::Steps WindowModel::applySteps()
{
    if (start.releaseIsOverridden) {
        return {log(asText(DRY_DOWNLOAD)), log(asText(PAGE)), log(asText(RESTART_NOTICE))};
    }
    return {log(asText(DOWNLOAD)), [this] {
                downloads.clear();
                Steps requests;
                for (const Patch& patch : qAsConst(patches)) {
                    if (!patch.isApplied) {
                        const QUrl url(currentUrl + patch.record.archive);
                        requests.push_back([this, url] {
                            downloads << WindowSurroundings::current().requestCount - 1;
                            return QStringLiteral("get:archive ") + url.toString(QUrl::FullyEncoded);
                        });
                    }
                }
                next(requests);
                return QString();
            }};
}

void WindowModel::receiveArchive(const OpenRequest& request, const NetworkAnswer& answer)
{
    const QUrl url = request.reply->url();
    const QString reason = reasonOf(answer);
    Steps steps;
    if (!reason.isNull()) {
        steps = failure(QStringLiteral("Download of %1 failed: %2\n").arg(url.toString(QUrl::FullyEncoded), reason));
    } else if (isRedirect(answer)) {
        steps = failure(QStringLiteral("Download request was redirected.\n"));
    } else {
        steps = storeSteps(url, answer.body);
    }
    const int number = request.number;
    steps.push_back([this, number] {
        downloads.removeAll(number);
        if (downloads.isEmpty()) {
            next(installSteps());
        }
        return QString();
    });
    next(steps);
}

WindowModel::Steps WindowModel::storeSteps(const QUrl& url, const QByteArray& body)
{
    const QString name = url.path(QUrl::FullyDecoded).section(QLatin1Char('/'), -1);
    const auto folder = std::make_shared<QDir>(INSTALLATION);
    const auto target = std::make_shared<QFileInfo>();
    return {[=] {
                if (!folder->cd(QStringLiteral("patches"))) {
                    next(failure(
                        QStringLiteral("Failed to access patch download directory, %1/patches.").arg(INSTALLATION)));
                }
                return QString();
            },
            [=] {
                *target = QFileInfo(*folder, name);
                const QString openedName = name.left(name.indexOf(QChar(0))); // the system sees no more of it
                const QFileInfo opened(*folder, openedName);
                if (!canBeOpened(opened, openedName)) {
                    next(failure(QStringLiteral("Failed to open local patch file, ") + target->absoluteFilePath()));
                    return QString();
                }
                QFile file(opened.absoluteFilePath());
                require(file.open(QIODevice::ReadOnly), "a download was stored");
                require(file.readAll() == body, "a download was stored as it is");
                return QString();
            },
            [=] {
                if (name.contains(QChar(0)) || QFileInfo(target->absoluteFilePath()).size() == 0) {
                    next(failure(QStringLiteral("No data downloaded for patch file, ") + target->absoluteFilePath()));
                }
                return QString();
            },
            [=] {
                return log(QStringLiteral("Downloaded ") + target->fileName() + QLatin1Char('\n'))();
            }};
}

// The install sequence.

WindowModel::Steps WindowModel::installSteps()
{
    Steps steps{log(asText(APPLY)), [this] {
                    const QDir folder = folderOr(QStringLiteral("/patches"), INSTALLATION);
                    Steps unpacking;
                    for (const Patch& patch : qAsConst(patches)) {
                        if (!patch.isApplied) {
                            const QFileInfo archive(folder, patch.record.archive);
                            unpacking.push_back([this, archive] {
                                next(unpackSteps(QFileInfo(archive.filePath())));
                                return QString();
                            });
                        }
                    }
                    next(unpacking);
                    return QString();
                }};
    const Steps page = pageSteps();
    steps.insert(steps.end(), page.begin(), page.end());
    steps.push_back(log(asText(RESTART_NOTICE)));
    steps.push_back([this] {
        determineApplied();
        return QStringLiteral("status");
    });
    steps.push_back([this] {
        refreshMarks();
        return QString();
    });
    return steps;
}

WindowModel::Steps WindowModel::startSteps(const QString& program, const QStringList& arguments)
{
    Steps steps;
    if (start.isVerbose) {
        steps.push_back(log(QStringLiteral("Executing system command: ") + program + QLatin1Char(' ') +
                            arguments.join(QLatin1Char(' ')) + QLatin1Char('\n')));
    }
    steps.push_back(event(QStringLiteral("start:") + program + QLatin1Char('|') + arguments.join(QLatin1Char('|'))));
    return steps;
}

WindowModel::Steps WindowModel::unpackSteps(const QFileInfo& archive)
{
    if (!archive.isFile() || !isArchive(archive.fileName())) {
        return markSteps(archive);
    }
    const QStringList parts = archive.fileName().split(QLatin1Char('.'));
    if (parts.count() < 3 || parts.last() == QStringLiteral("tar")) {
        return extractSteps(archive);
    }
    Steps steps = startSteps(QStringLiteral("gunzip"), {archive.absoluteFilePath()});
    steps.push_back([=] {
        const ProgramResult result = resultOf(WindowSurroundings::current().lastProgram, QStringLiteral("gunzip"));
        if (start.isVerbose && !result.text.isEmpty()) {
            next({log(result.text + QLatin1Char('\n')), log(QStringLiteral("Continuing...\n"))});
        }
        return QString();
    });
    steps.push_back([=] {
        if (QFileInfo::exists(archive.filePath())) {
            next(extractSteps(archive));
            return QString();
        }
        const QString name = QStringList(parts.mid(0, parts.count() - 1)).join(QLatin1Char('.'));
        const QFileInfo shorter(archive.absolutePath() + QLatin1Char('/') + name);
        if (shorter.exists()) {
            next(extractSteps(shorter));
        } else {
            next(markSteps(shorter));
            next(failure(QStringLiteral("Failed to decompress file ") + shorter.fileName()));
        }
        return QString();
    });
    return steps;
}

WindowModel::Steps WindowModel::extractSteps(const QFileInfo& archive)
{
    const QString program = INSTALLATION + QStringLiteral("/bin/bsdtar");
    Steps steps = startSteps(program, {QStringLiteral("-xvPf"), archive.absoluteFilePath()});
    steps.push_back([=] {
        const ProgramResult result = resultOf(WindowSurroundings::current().lastProgram, program);
        next(markSteps(archive));
        if (!result.text.isEmpty()) {
            next(result.succeeded ? Steps{log(result.text + QLatin1Char('\n'))} : failure(result.text));
        }
        return QString();
    });
    return steps;
}

WindowModel::Steps WindowModel::markSteps(const QFileInfo& archive)
{
    return {[=] {
                const QString key = archive.baseName().toLower();
                for (Patch& patch : patches) {
                    if (patch.record.name.toLower().startsWith(key)) {
                        patch.isApplied = true;
                        return QString();
                    }
                }
                return log(QStringLiteral("Internal error: Failed to mark update ") + archive.fileName() +
                           QStringLiteral(" applied."))();
            },
            log(QStringLiteral(" ** installed ") + archive.fileName() + QStringLiteral("\n\n"))};
}

WindowModel::Steps WindowModel::pageSteps()
{
    QStringList arguments{INSTALLATION + QStringLiteral("/bin/ozna_installed_patches")};
    if (start.isVerbose) {
        arguments << QStringLiteral("-v");
    }
    Steps steps{log(asText(PAGE))};
    const Steps starting = startSteps(QStringLiteral("perl"), arguments);
    steps.insert(steps.end(), starting.begin(), starting.end());
    steps.push_back([=] {
        const ProgramResult result = resultOf(WindowSurroundings::current().lastProgram, QStringLiteral("perl"));
        if (result.succeeded) {
            next({log(asText(PAGE_UPDATED))});
        } else if (!result.text.isEmpty()) {
            next(failure(result.text));
        }
        return QString();
    });
    return steps;
}
