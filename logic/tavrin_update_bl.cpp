// The core of the business logic: its constants, the checks of the installation that come before the event loop, the
// URL of the patch source and the texts made from it for the window. After a failed check the window opens all the
// same, so every other operation copes with an object on which initialize() stopped early.
#include "tavrin_update_bl.h"

#include "tavrin_update_systeminfo.h"

#include <QCoreApplication>
#include <QNetworkProxy>
#include <QSysInfo>
#include <QUrl>

#include <cstdlib>
#include <utility>

const QString APPLIED_PATCHES_HTML = QStringLiteral("applied_patches.html");
const QString APPLIED_PATCHES_HTML_UPDATER = QStringLiteral("ozna_installed_patches");
const QString UNZIP_COMMAND = QStringLiteral("gunzip");
const QString HREF_ATTRIBUTE = QStringLiteral("href");
const QString NEW_PATCH_HEADER = QStringLiteral("new patch");
const QString NO_ERROR = QString();
const QString NO_NEW_PATCH_STRING =
    QString::fromLatin1(QT_TRANSLATE_NOOP("TavrinUpdateBusinessLogic", "No new patches"));
const QString NOT_INSTALLED_STRING =
    QString::fromLatin1(QT_TRANSLATE_NOOP("TavrinUpdateBusinessLogic", "Not Installed"));
const QString PATCH_URL = QStringLiteral("http://" TAVRIN_PATCH_SERVER "/patches/");
const QString PATCHED_DIR = QStringLiteral("patched");
const QString PATCHES_DIR = QStringLiteral("patches");
const QString START_STOP_EXEC_NAME = QStringLiteral("/etc/init.d/tavrin");
const QString TAR_COMMAND = QStringLiteral("bsdtar");

namespace {

// An installation elsewhere was put there by hand and has to be patched by hand.
const QString STANDARD_LOCATION = QStringLiteral("/opt/tavrin/");

bool isUsableDirectory(const QFileInfo& entry)
{
    return entry.exists() && entry.isDir() && entry.isReadable();
}

} // namespace

TavrinUpdateBusinessLogic::TavrinUpdateBusinessLogic(QString invokedPath)
    : archiveSuffixes{QStringLiteral(".bz2"), QStringLiteral(".tar"), QStringLiteral(".gz"), QStringLiteral(".gzip"),
                      QStringLiteral(".Z")}
    , defaultUrl(PATCH_URL)
    , programPath(std::move(invokedPath))
{
}

QString TavrinUpdateBusinessLogic::initialize(const CommandLineOptions& givenOptions)
{
    options = givenOptions;
    const QString installed = QString::fromUtf8(std::getenv("TAVRIN"));
    if (installed.isEmpty()) {
        return tr("\nTAVRIN environment variable is not set.\n");
    }

    QFileInfo directory(installed);
    release = directory.fileName();
    if (!options.release.isEmpty() && options.release.toLower() != release.toLower()) {
        overrideRelease(directory);
    } else {
        options.release.truncate(0);
        if (!isUsableDirectory(directory)) {
            return tr("TAVRIN directory is invalid\n%1\n").arg(directory.absoluteFilePath());
        }
    }

    const QString location = directory.absoluteFilePath();
    if (!location.startsWith(STANDARD_LOCATION)) {
        return tr("tavrin_update cannot install patches for TAVRIN in non-standard location\n'%1'\n"
                  "You must copy and install by hand")
            .arg(location);
    }
    installDir.setPath(location);
    if (options.apply) {
        const QStringList offenders = unwritableEntries(directory);
        if (!offenders.isEmpty()) {
            return tr("To apply patches you must have write access to the TAVRIN directories\n(%1)\n")
                .arg(offenders.join(QLatin1Char('\n')));
        }
    }

    operatingSystem = QString::fromLatin1(TavrinUpdateSystemInfo::getOS()); // from here on nothing returns early
    systemDescription = QSysInfo::prettyProductName() + QLatin1Char(' ') + QSysInfo::kernelVersion();
    processor = QString::fromLatin1(TavrinUpdateSystemInfo::getProcessor());
    defaultUrl += release + QLatin1Char('/') + operatingSystem + QLatin1Char('_') + processor + QLatin1Char('/');
    currentUrl = defaultUrl;

    const bool urlGiven = !options.url.isEmpty() && options.url != defaultUrl;
    const QString urlFailure = validateCurrentUrl(urlGiven ? options.url : defaultUrl);
    if (!urlFailure.isEmpty()) {
        failWithMessage(urlFailure);
    }

    patchListManager.setProxy(QNetworkProxy());
    downloadManager.setProxy(QNetworkProxy());
    connect(&patchListManager, SIGNAL(finished(QNetworkReply*)), this, SLOT(patchListReceived(QNetworkReply*)));
    connect(&downloadManager, SIGNAL(finished(QNetworkReply*)), this, SLOT(downloadComplete(QNetworkReply*)));
    return NO_ERROR;
}

// Points `directory` at the overriding release beside the installed one. From then on the run can only list, because
// the environment is set up for the installed release. Required: an invalid override goes to failWithMessage(), where
// every other check returns its message.
void TavrinUpdateBusinessLogic::overrideRelease(QFileInfo& directory)
{
    installDir.setPath(directory.absoluteFilePath());
    installDir.cdUp();
    directory.setFile(installDir, options.release);
    if (!isUsableDirectory(directory)) {
        failWithMessage(tr("TAVRIN directory is invalid\n\n'%1'\t(with release override of '%2')")
                            .arg(directory.absoluteFilePath(), options.release));
        return;
    }

    releaseOverriddenWarning = tr("*** WARNING: Your environment is for Tavrin release '%1',\n"
                                  "but you are running tavrin_update with a release override of '%2'.\n"
                                  "Patches will be listed but not applied.")
                                   .arg(release, options.release);
    options.apply = false;
    options.showProposed = true;
    if (options.terminal) {
        presentLine(releaseOverriddenWarning);
    }
    installDir.setPath(directory.absoluteFilePath());
    release = options.release;
    releaseOverridden = true;
}

QStringList TavrinUpdateBusinessLogic::unwritableEntries(const QFileInfo& directory) const
{
    QStringList offenders;
    if (!directory.isWritable()) {
        offenders << directory.absoluteFilePath();
    }
    const QStringList patchedEntries{PATCHED_DIR,
                                     PATCHES_DIR,
                                     QStringLiteral("bin"),
                                     QStringLiteral("data"),
                                     QStringLiteral("data/pf"),
                                     QStringLiteral("include"),
                                     QStringLiteral("lib"),
                                     QStringLiteral("man"),
                                     QStringLiteral("man/man1")};
    for (const QString& name : patchedEntries) {
        const QFileInfo entry(installDir, name);
        if (!entry.isWritable()) {
            offenders << entry.absoluteFilePath();
        }
    }
    return offenders;
}

QString TavrinUpdateBusinessLogic::validateCurrentUrl(QString url)
{
    const QString pageName = QStringLiteral("index.html");
    // Required: only a local URL loses the name of the page.
    if (QUrl(url).isLocalFile() && url.toLower().endsWith(QLatin1Char('/') + pageName)) {
        url.chop(pageName.length());
    }
    if (!url.endsWith(QLatin1Char('/'))) {
        url += QLatin1Char('/');
    }
    const QUrl normalised(url);
    if (!normalised.isValid()) {
        return tr("Url '%1' is invalid.\n%2").arg(url, normalised.errorString());
    }
    currentUrl = url;
    return NO_ERROR;
}

bool TavrinUpdateBusinessLogic::urlIsOverridden() const
{
    return defaultUrl != currentUrl;
}

QString TavrinUpdateBusinessLogic::getDefaultUrlString() const
{
    return defaultUrl;
}

QString TavrinUpdateBusinessLogic::getCurrentUrlString() const
{
    return currentUrl;
}

QString TavrinUpdateBusinessLogic::getWindowTitle() const
{
    // Required: the release is filled in before the translation, so a catalogue can give one release its own title.
    const QString title = QStringLiteral("Update Tavrin version '%1'").arg(release, 0, QLatin1Char(' '));
    return QCoreApplication::translate("QApplication", title.toLocal8Bit().constData());
}

QString TavrinUpdateBusinessLogic::formatForGui(QString text)
{
    QString reflowed; // required: ends in a blank or a line break, whatever the text
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        reflowed += line;
        reflowed += line.endsWith(QLatin1Char('.')) ? QLatin1Char('\n') : QLatin1Char(' ');
    }
    return reflowed;
}

QString TavrinUpdateBusinessLogic::getTavrinRelease() const
{
    return release;
}

QString TavrinUpdateBusinessLogic::getReleaseOverriddenWarning() const
{
    return releaseOverriddenWarning;
}

bool TavrinUpdateBusinessLogic::showProposed() const
{
    return options.showProposed;
}

QString TavrinUpdateBusinessLogic::getUsageString()
{
    // Required: two blanks after the colon and the doubled bracket.
    return QCoreApplication::translate("QApplication", "Usage:  tavrin_update [-lLnQtv]] [-m email] [url]");
}
