// A run from its start to the point where patches are applied: look for running systems, ask for the list page, read it
// and go on as the mode wants it. The window takes over once the list is read; a terminal run goes down
// continueTerminalRun(). The event loop calls the slots here, and whatever they call is in the files below.
#include "tavrin_update_bl.h"

#include <QUrl>

#include <cstdlib>

namespace {

// Set on the reply of a list request that a later one has replaced.
const char SUPERSEDED_PROPERTY[] = "superseded";

} // namespace

void TavrinUpdateBusinessLogic::execute()
{
    refreshRealTimeSystems();
    requestUpdatesList();
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

QString TavrinUpdateBusinessLogic::setUrl(QString url)
{
    QString failure = validateCurrentUrl(url);
    if (failure.isEmpty()) {
        requestUpdatesList();
    }
    return failure;
}
