// A run from its start to the point where patches are applied: look for running systems, ask for the list page, read
// it. Then the window takes over, and a terminal run goes on with continueTerminalRun(). The event loop calls the slots
// in this file; what they call is in the other files of the class, of which none calls back into this one.
#include "tavrin_update_bl.h"

#include <QUrl>

#include <cstdlib>

namespace {

// Set on the reply to a list request when a later request has replaced it.
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
    // The answer to an earlier request would add the patches of another source.
    const auto earlierReplies = patchListManager.findChildren<QNetworkReply*>();
    for (QNetworkReply* earlier : earlierReplies) {
        earlier->setProperty(SUPERSEDED_PROPERTY, true);
    }
    const bool isLocal = QUrl(currentUrl).isLocalFile();
    sendRequest(patchListManager, QUrl(isLocal ? currentUrl + QStringLiteral("index.html") : currentUrl),
                &TavrinUpdateBusinessLogic::patchListReceived);
}

void TavrinUpdateBusinessLogic::patchListReceived(QNetworkReply* reply)
{
    if (reply->property(SUPERSEDED_PROPERTY).toBool()) {
        reply->deleteLater();
        return;
    }
    const QString fetchFailure = listFetchFailure(*reply);
    if (!fetchFailure.isEmpty()) {
        // Required: the reply of a failed fetch is not released here. It is deleted with its manager.
        if (options.terminal) {
            failWithMessage(fetchFailure);
        } else {
            emit appendProgress(fetchFailure);
        }
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
