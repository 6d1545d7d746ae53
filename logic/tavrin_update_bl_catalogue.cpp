// The list of patches: the request for its page, the page's parser, the records with their shared cursor, the question
// which of them are applied, and the road that a terminal run takes once it knows. What is printed on that road stands
// in tavrin_update_bl_catalogue_report.cpp. The page is read as a stream of tokens and must be well-formed markup.
#include "tavrin_update_bl.h"

#include "tavrin_update_systeminfo.h"

#include <QCoreApplication>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QXmlStreamReader>

#include <cstdlib>

namespace {

// Set on the reply of a list request that a later one has replaced.
const char SUPERSEDED_PROPERTY[] = "superseded";

} // namespace

void TavrinUpdateBusinessLogic::refreshRealTimeSystems()
{
    Pidrtsys* systems = nullptr;
    const int count = TavrinUpdateSystemInfo::getRunningRealTimeSystems(&systems);
    noRealTimeConflict = true;
    if (systems == nullptr) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        if (fieldText(systems[i].version) == release) {
            noRealTimeConflict = false;
            break;
        }
    }
    delete systems;
}

void TavrinUpdateBusinessLogic::requestUpdatesList()
{
    patches.clear();
    // An answer that is still on its way would fill the list with the patches of another source.
    const auto earlierReplies = patchListManager.findChildren<QNetworkReply*>();
    for (QNetworkReply* earlier : earlierReplies) {
        earlier->setProperty(SUPERSEDED_PROPERTY, true);
    }
    const bool isLocal = QUrl(currentUrl).isLocalFile();
    sendRequest(patchListManager, QUrl(isLocal ? currentUrl + QStringLiteral("index.html") : currentUrl));
}

QNetworkReply* TavrinUpdateBusinessLogic::sendRequest(QNetworkAccessManager& manager, const QUrl& url)
{
    QNetworkReply* reply = manager.get(QNetworkRequest(url));
    if (reply->isFinished() && reply->error() == QNetworkReply::ProtocolInvalidOperationError) {
        // Qt refuses a file URL that names a host at once, and its manager never says that the reply is finished.
        QTimer::singleShot(0, reply, [&manager, reply] { emit manager.finished(reply); });
    }
    return reply;
}

void TavrinUpdateBusinessLogic::patchListReceived(QNetworkReply* reply)
{
    if (reply->property(SUPERSEDED_PROPERTY).toBool()) {
        reply->deleteLater();
        return;
    }
    QString reason;
    if (transferFailed(*reply, reason)) {
        reportFailedFetch(*reply, reason); // the reply of a failed fetch goes with its manager, not before
        return;
    }
    if (isHttpRedirect(reply)) {
        reply->deleteLater();
        failWithMessage(tr("Request was redirected.\n"));
        return;
    }
    const QString failure = parsePatchList(reply);
    reply->deleteLater();
    if (!failure.isEmpty()) {
        failWithMessage(options.terminal ? failure + tr("\nExiting") : failure);
        return;
    }
    determinePatchesApplied();
    if (options.terminal) {
        continueTerminalRun();
    } else {
        emit patchListReady();
    }
}

// Whether the reply did not come in whole, and why. When a server hangs up early, Qt once in some hundred times takes
// what has come for the whole body; the length that the server announced gives it away. A body in chunks marks its own
// end: there Qt goes by the chunks, as the protocol wants it, and a length announced beside them means nothing.
bool TavrinUpdateBusinessLogic::transferFailed(const QNetworkReply& reply, QString& reason)
{
    if (reply.error() != QNetworkReply::NoError) {
        reason = reply.errorString();
        return true;
    }
    const bool isWholeFile = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
    const bool isInChunks = reply.rawHeader("Transfer-Encoding").toLower().contains("chunked");
    const qint64 announced = reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
    reason = QCoreApplication::translate("QHttp", "Connection closed"); // as Qt says it the other times
    return isWholeFile && !isInChunks && reply.bytesAvailable() < announced;
}

void TavrinUpdateBusinessLogic::reportFailedFetch(const QNetworkReply& reply, const QString& reason)
{
    QString text = tr("Failed to read patches from\n%1\n%2\n")
                       .arg(reply.url().toDisplayString(), QString::fromLocal8Bit(reason.toLocal8Bit()));
    if (reply.error() == QNetworkReply::ProtocolUnknownError) {
        text += tr("Begin your URL with 'http://' or, for local files, 'file:///'.");
    }
    if (options.terminal) {
        failWithMessage(text);
    } else {
        emit appendProgress(text);
    }
}

bool TavrinUpdateBusinessLogic::isHttpRedirect(QNetworkReply* reply)
{
    switch (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()) {
    case 301:
    case 302:
    case 303:
    case 305:
    case 307:
    case 308:
        return true;
    default: // 304 and 306 send nobody elsewhere, and a local file has no status
        return false;
    }
}

void TavrinUpdateBusinessLogic::continueTerminalRun()
{
    presentPatchList();
    if (patchesNeeded <= 0 || (!options.apply && !options.showProposed)) {
        std::exit(0);
    }
    const QString warning = informStopTavrin();
    if (!warning.isEmpty()) {
        if (options.showProposed) {
            presentText(warning + QLatin1Char('\n'));
            presentText(tr("Continuing to show proposed course of action ...\n\n"));
        } else if (options.allowWhileRunning) {
            presentText(warning + QLatin1Char('\n'));
            presentText(tr("-Q option: continuing ...\n\n"));
        } else {
            failWithMessage(warning + tr("\nExiting"));
        }
    }
    if (options.apply && !options.showProposed && !options.allowWhileRunning) {
        allowUserToCancel(tr("\nDo you wish to download and install these patches [y|n]?"));
    }
    applyPatches();
}

QString TavrinUpdateBusinessLogic::parsePatchList(QNetworkReply* reply)
{
    QXmlStreamReader page(reply);
    bool markerFound = false;
    while (!markerFound && !page.atEnd()) {
        markerFound = page.readNext() == QXmlStreamReader::Comment &&
                      page.text().toString().simplified().toLower().contains(NEW_PATCH_HEADER);
    }
    const QString url = reply->url().toDisplayString();
    if (page.hasError()) {
        return tr("Failed to find list of patches in page source at %1:\n%2\n").arg(url, page.errorString());
    }
    if (!markerFound) {
        return tr("Failed to find list of patches in page source at %1").arg(url);
    }

    enum class Entry
    {
        Outside,
        ListItem,
        BlockQuote
    };
    Entry entry = Entry::Outside;
    QString heading;
    QString link;
    while (!page.atEnd()) {
        const QXmlStreamReader::TokenType token = page.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (page.name() == QLatin1String("li")) {
                entry = Entry::ListItem;
            } else if (page.name() == QLatin1String("blockquote")) {
                entry = Entry::BlockQuote;
            }
            // Links add up until an entry is complete, whichever element carries them.
            link += page.attributes().value(HREF_ATTRIBUTE);
            continue;
        }
        if (token != QXmlStreamReader::Characters || entry == Entry::Outside) {
            continue;
        }
        const QString text = page.text().toString().trimmed();
        if (text.isEmpty()) {
            continue;
        }
        if (entry == Entry::ListItem) {
            heading = text;
            continue;
        }
        QString name = heading.left(heading.indexOf(QLatin1Char(' ')));
        if (name.isEmpty()) {
            return tr("Error obtaining patch name for patch ") + heading + QLatin1Char(' ') + text;
        }
        if (link.isEmpty()) {
            return tr("Error obtaining tar file name for patch ") + heading + QLatin1Char(' ') + text;
        }
        // Trial patches are published under varying names but recorded in the installation under one.
        const QString trialPatch = QStringLiteral("TrialPatch");
        if (name.startsWith(trialPatch)) {
            name = trialPatch;
        }
        addPatchToList(name, heading, false, link, text);
        heading.clear();
        link.clear();
        entry = Entry::Outside;
    }
    return page.hasError() ? page.errorString() : NO_ERROR;
}

void TavrinUpdateBusinessLogic::addPatchToList(QString name, QString heading, bool applied, QString tarFileName,
                                               QString description)
{
    patches.append(PatchInfo(name, heading, applied, tarFileName, description));
}

void TavrinUpdateBusinessLogic::determinePatchesApplied()
{
    patchesNeeded = 0;
    QDir markers = installDir;
    // Without the directory the markers are looked for in the installation directory itself.
    markers.cd(PATCHED_DIR);
    const QStringList listing = markers.entryList(QDir::Files, QDir::NoSort);
    QSet<QString> names;
    names.reserve(listing.size());
    for (const QString& name : listing) {
        names.insert(name);
    }
    while (nextPatch()) {
        const bool applied = names.contains(getPatchName());
        setPatchApplied(applied);
        if (!applied) {
            ++patchesNeeded;
        }
    }
}

bool TavrinUpdateBusinessLogic::nextPatch()
{
    if (!patchCursorValid) {
        currentPatch = patches.constBegin();
        patchCursorValid = true;
    } else {
        ++currentPatch;
        ++patchIndex;
    }
    if (currentPatch == patches.constEnd()) {
        patchIndex = 0;
        patchCursorValid = false;
        return false;
    }
    return true;
}

bool TavrinUpdateBusinessLogic::cursorIsOnPatch() const
{
    return patchCursorValid && currentPatch != patches.constEnd();
}

QString TavrinUpdateBusinessLogic::getPatchName() const
{
    return cursorIsOnPatch() ? currentPatch->name : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getTarFileName() const
{
    return cursorIsOnPatch() ? currentPatch->tarFileName : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getPatchDescription() const
{
    return cursorIsOnPatch() ? currentPatch->description : QStringLiteral(" ");
}

QString TavrinUpdateBusinessLogic::getPatchDate() const
{
    if (!cursorIsOnPatch()) {
        return QStringLiteral(" ");
    }
    const QString& heading = currentPatch->heading;
    return heading.mid(qMax(0, heading.indexOf(QLatin1Char(' '))));
}

bool TavrinUpdateBusinessLogic::patchIsInstalled() const
{
    return cursorIsOnPatch() && currentPatch->applied;
}

void TavrinUpdateBusinessLogic::setPatchApplied(bool applied)
{
    patches[patchIndex].applied = applied;
}

int TavrinUpdateBusinessLogic::getPatchCount() const
{
    return patches.count();
}

bool TavrinUpdateBusinessLogic::updatesNeeded() const
{
    return patchesNeeded >= 1;
}
