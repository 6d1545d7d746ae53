// From the missing patches to an updated installation: all downloads at once into the installation's patches
// directory and, when the last one is in, one archive after the other over the installation, then its page of applied
// patches. In window mode failWithMessage() returns. Required: every step goes on after it, so that one bad patch does
// not keep the others from being installed.
#include "tavrin_update_bl.h"

#include <QCoreApplication>
#include <QFile>
#include <QUrl>

#include <algorithm>
#include <cstdlib>

#include <malloc.h>
#include <sys/resource.h>

namespace {

// The number of downloads for which the limit of open files was raised in this run. A property of the download manager,
// because the fields of the class are fixed.
const char DOWNLOADS_WITH_ROOM_PROPERTY[] = "downloadsWithRoom";

// The hard limit of the system may not allow that many. A download that finds no room then fails with its message.
void raiseLimitOfOpenFiles(rlim_t count)
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur += std::min(count, limit.rlim_max - limit.rlim_cur);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Writes the body in pieces, so that a large one is never in memory twice. Returns false when the disk is full.
bool writeBody(QNetworkReply& reply, QFile& file)
{
    const qint64 pieceSize = 1 << 16;
    for (QByteArray piece = reply.read(pieceSize); !piece.isEmpty(); piece = reply.read(pieceSize)) {
        if (file.write(piece) != piece.size()) {
            return false;
        }
    }
    return file.flush(); // a small piece may still be in the buffer
}

// The archive tool reports an incomplete archive, but takes one that ends between two members for a whole one. Members
// begin at multiples of 512 bytes, and a full disk cuts files there as well.
void endWithinMember(const QString& path)
{
    QFile::resize(path, qMax<qint64>(QFileInfo(path).size() - 1, 0));
}

// Whether the name, in lower case, starts with the key, which is in lower case already. An ASCII name is compared
// without a lower-case copy: every archive is compared with the names of all patches before its own.
bool nameInLowerCaseStartsWith(const QString& name, const QString& key)
{
    const int length = qMin(name.length(), key.length());
    for (int i = 0; i < length; ++i) {
        const ushort letter = name.at(i).unicode();
        if (letter >= 0x80) {
            return name.toLower().startsWith(key);
        }
        const bool isUpper = letter >= 'A' && letter <= 'Z';
        if ((isUpper ? letter - 'A' + 'a' : letter) != key.at(i).unicode()) {
            return false;
        }
    }
    return length == key.length();
}

} // namespace

void TavrinUpdateBusinessLogic::applyPatches()
{
    if (options.apply) {
        beginDownload();
    } else if (options.showProposed) {
        beginDownload();
        // As nothing may be applied, this only shows the heading of the step and cannot fail.
        const QString unusedResult = updateAppliedPatchesHtml();
        Q_UNUSED(unusedResult)
        informStartTavrin();
        if (options.terminal) {
            std::exit(0);
        }
    }
}

void TavrinUpdateBusinessLogic::beginDownload()
{
    // Required: the dry run announces the installation too, the real run only the download.
    presentText(options.showProposed ? tr("Download and install patch files ...\n") : tr("Download patch files ...\n"));
    downloadReplies.clear();
    if (options.apply) {
        makeRoomForDownloads();
    }
    while (nextPatch()) {
        if (options.apply && !patchIsInstalled()) {
            // Required: no separator between the address and the link.
            downloadReplies.append(sendRequest(downloadManager, QUrl(currentUrl + getTarFileName()),
                                               &TavrinUpdateBusinessLogic::downloadComplete));
        }
    }
}

// All downloads are in flight at once, and a download from a local source holds its file open from the start: a
// thousand of them exceed the usual limit of open files. The limit grows by no more than they need, since the programs
// started later inherit it. In the window the user can apply again, even while downloads are in flight; the limit is
// raised again only for downloads beyond the number for which it was raised before.
void TavrinUpdateBusinessLogic::makeRoomForDownloads()
{
    const auto inFlight = downloadManager.findChildren<QNetworkReply*>(QString(), Qt::FindDirectChildrenOnly).count();
    const auto missing =
        std::count_if(patches.cbegin(), patches.cend(), [](const PatchInfo& patch) { return !patch.applied; });
    const int needed = inFlight + static_cast<int>(missing);
    const int available = downloadManager.property(DOWNLOADS_WITH_ROOM_PROPERTY).toInt();
    if (missing > 0 && needed > available) {
        raiseLimitOfOpenFiles(static_cast<rlim_t>(needed - available));
        downloadManager.setProperty(DOWNLOADS_WITH_ROOM_PROPERTY, needed);
    }
}

void TavrinUpdateBusinessLogic::downloadComplete(QNetworkReply* reply)
{
    const QString failure = downloadFailure(*reply);
    if (!failure.isEmpty()) {
        failWithMessage(failure);
    } else if (isHttpRedirect(reply)) {
        failWithMessage(tr("Download request was redirected.\n"));
    } else {
        storeDownload(*reply);
    }
    downloadReplies.removeAll(reply);
    // Once is enough: an event loop of a message box that was opened above does not delete the reply.
    reply->deleteLater();
    if (downloadReplies.isEmpty()) {
        deleteHandledReplies(*reply);
        installPatches();
    }
}

// Downloads from a local source end together, so the earlier replies would only be deleted after this one was handled.
// Until then, each start of a program copies the page tables of their memory: with 200 archives that takes 0.2 of
// 0.7 ms of its own CPU time for each.
void TavrinUpdateBusinessLogic::deleteHandledReplies(const QNetworkReply& current)
{
    const auto replies = downloadManager.findChildren<QNetworkReply*>(QString(), Qt::FindDirectChildrenOnly);
    for (QNetworkReply* reply : replies) {
        if (reply != &current) {
            QCoreApplication::sendPostedEvents(reply, QEvent::DeferredDelete);
        }
    }
}

void TavrinUpdateBusinessLogic::storeDownload(QNetworkReply& reply)
{
    QDir directory = installDir;
    if (!directory.cd(PATCHES_DIR)) {
        failWithMessage(tr("Failed to access patch download directory, %1/patches.").arg(directory.absolutePath()));
    }
    const QFileInfo target(directory, QFileInfo(reply.url().path(QUrl::FullyDecoded)).fileName());
    QFile file(target.absoluteFilePath());
    if (file.open(QIODevice::WriteOnly)) {
        const bool isWhole = writeBody(reply, file);
        file.close();
        if (!isWhole) {
            endWithinMember(file.fileName());
        }
    } else {
        failWithMessage(tr("Failed to open local patch file, %1").arg(target.absoluteFilePath()));
    }
    if (file.size() == 0) {
        failWithMessage(tr("No data downloaded for patch file, %1").arg(target.absoluteFilePath()));
    }
    presentText(tr("Downloaded %1\n").arg(target.fileName()));
}

void TavrinUpdateBusinessLogic::installPatches()
{
    // Each start of a program copies this process's page tables, and the downloads have left many empty pages. With
    // 2,000 small patches from a server this saves 0.5 of 1.4 ms of its own CPU time for each.
    malloc_trim(0);
    presentText(tr("\nApply patches to Tavrin installation ...\n\n"));
    QList<QFileInfo> archives;
    buildPatchArchiveList(archives);
    for (QFileInfo archive : qAsConst(archives)) { // a copy: unpacking can make it name the decompressed file
        const QString failure = unpackArchive(archive);
        if (!failure.isEmpty()) {
            failWithMessage(failure);
        }
        setPatchApplied(archive); // required after a failure as well
        presentText(tr(" ** installed %1\n\n").arg(archive.fileName()));
    }
    if (!releaseOverridden) {
        const QString failure = updateAppliedPatchesHtml();
        if (!failure.isEmpty()) {
            failWithMessage(failure);
        }
    }
    informStartTavrin();
    if (options.terminal) {
        std::exit(0);
    }
    determinePatchesApplied();
    emit updatePatchStatus();
}

void TavrinUpdateBusinessLogic::buildPatchArchiveList(QList<QFileInfo>& archives)
{
    QDir directory = installDir;
    directory.cd(PATCHES_DIR); // when this fails, the downloads were stored in the installation directory
    while (nextPatch()) {
        if (!patchIsInstalled()) {
            archives.append(QFileInfo(directory, getTarFileName()));
        }
    }
}

QString TavrinUpdateBusinessLogic::unpackArchive(QFileInfo& archive) const
{
    if (!archive.isFile() || !isArchive(archive.fileName())) {
        return NO_ERROR;
    }
    return decompress(archive);
}

bool TavrinUpdateBusinessLogic::isArchive(QString fileName) const
{
    return std::any_of(archiveSuffixes.cbegin(), archiveSuffixes.cend(),
                       [&fileName](const QString& suffix) { return fileName.endsWith(suffix); });
}

QString TavrinUpdateBusinessLogic::decompress(QFileInfo& archive) const
{
    QStringList parts = archive.fileName().split(QLatin1Char('.'));
    QString output;
    if (parts.size() > 2 && parts.last() != QLatin1String("tar")) {
        // When the decompressor fails, the file stays as it is; the archive tool can read compressed files itself.
        pipeToSystemCommand(UNZIP_COMMAND, {archive.absoluteFilePath()}, output, NO_ERROR);
        if (options.verbose && !output.isEmpty()) {
            presentText(output + QLatin1Char('\n'));
            presentText(tr("Continuing...\n"));
        }
        archive.refresh();
        if (!archive.exists()) {
            parts.removeLast();
            archive.setFile(archive.absolutePath() + QLatin1Char('/') + parts.join(QLatin1Char('.')));
            if (!archive.exists()) {
                return tr("Failed to decompress file %1").arg(archive.fileName());
            }
        }
    }

    const QString archiver = QStringLiteral("%1/bin/%2").arg(installDir.absolutePath(), TAR_COMMAND);
    if (!pipeToSystemCommand(archiver, {QStringLiteral("-xvPf"), archive.absoluteFilePath()}, output, NO_ERROR)) {
        return output;
    }
    if (!output.isEmpty()) {
        presentText(output + QLatin1Char('\n'));
    }
    return NO_ERROR;
}

void TavrinUpdateBusinessLogic::setPatchApplied(QFileInfo archive)
{
    const QString key = archive.baseName().toLower(); // required: also marks a patch with a longer name, if it is first
    for (PatchInfo& patch : patches) {
        if (nameInLowerCaseStartsWith(patch.name, key)) {
            patch.applied = true;
            return;
        }
    }
    // Required: no line break at the end.
    presentText(tr("Internal error: Failed to mark update %1 applied.").arg(archive.fileName()));
}

QString TavrinUpdateBusinessLogic::updateAppliedPatchesHtml()
{
    presentText(tr("\nUpdate %1 ...\n").arg(APPLIED_PATCHES_HTML));
    if (!options.apply) {
        return NO_ERROR;
    }
    QStringList arguments{QStringLiteral("%1/bin/%2").arg(installDir.absolutePath(), APPLIED_PATCHES_HTML_UPDATER)};
    if (options.verbose) {
        arguments << QStringLiteral("-v");
    }
    QString output;
    if (!pipeToSystemCommand(QStringLiteral("perl"), arguments, output, NO_ERROR)) {
        return output;
    }
    presentText(tr("%1 updated\n").arg(APPLIED_PATCHES_HTML));
    return NO_ERROR;
}
