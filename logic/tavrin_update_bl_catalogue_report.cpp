// What a terminal run says: the report of the list, the check for running systems, the yes/no question and the mail of
// a scheduled run. Nothing here writes to standard error. A line that waits for the user, or comes before work that
// takes its time, is flushed; the report is not.
#include "tavrin_update_bl.h"

#include <QHostInfo>

#include <cstdio>
#include <cstdlib>

namespace {

// How much of a report is kept before it is printed; in characters.
const int REPORT_PIECE = 16384;

// Reads the next line of standard input; returns its first character, or EOF at the end of the input.
int firstCharacterOfNextLine()
{
    const int first = std::getchar();
    for (int character = first; character != '\n' && character != EOF;) {
        character = std::getchar();
    }
    return first;
}

} // namespace

void TavrinUpdateBusinessLogic::presentPatchList()
{
    const bool mailed = !options.email.isEmpty();
    const QString notInstalled = tr(NOT_INSTALLED_STRING.toUtf8().constData());
    QString report = getHeaderLine() + QLatin1Char('\n');
    if (mailed) {
        report += tr("On %1, the Tavrin %2 distribution\ndoes not have the following patches installed\n\n")
                      .arg(QHostInfo::localHostName(), release);
    }
    while (nextPatch()) {
        // The report on a long list is several times as large as the list. It goes out in pieces, except into a mail.
        if (report.size() > REPORT_PIECE && options.terminal && !mailed) {
            presentText(report);
            report.clear();
        }
        if (patchIsInstalled()) {
            if (options.listAll) {
                report += QStringLiteral("   ") + getPatchName() + QLatin1Char('\n');
            }
        } else if (options.listAll) {
            report += QStringLiteral("*  ") + getPatchName() + QLatin1Char('\n');
        } else if (mailed) {
            report += notInstalled + QStringLiteral(": ") + getPatchName() + QLatin1Char('\n');
        } else {
            report += QLatin1Char('\n') + notInstalled + QStringLiteral(": ") + getPatchName() + QLatin1Char('\n') +
                      formatPatchDescription(getPatchDescription()) + QLatin1Char('\n');
        }
    }
    if (mailed) {
        const QString failure = emailPatchInfo(report);
        if (!failure.isEmpty()) {
            failWithMessage(failure);
        }
        return;
    }
    presentText(report + QLatin1Char('\n'));
    if (patchesNeeded < 1) {
        presentText(tr(NO_NEW_PATCH_STRING.toUtf8().constData()) + QLatin1Char('\n'));
    } else if (options.showProposed) {
        presentText(tr(SHOW_PROPOSED_TEXT.toUtf8().constData()));
    }
}

QString TavrinUpdateBusinessLogic::getHeaderLine() const
{
    const QString releaseText = releaseOverridden ? tr("overridden to ") + options.release : release;
    const bool isUnreleased = release.toLower() == QLatin1String("dev");
    return QFileInfo(programPath).fileName() + (isUnreleased ? tr(" Tavrin Unreleased ") : tr(" Tavrin Release ")) +
           releaseText + QLatin1Char(' ') + systemDescription;
}

QString TavrinUpdateBusinessLogic::emailPatchInfo(QString report) const
{
    const int count = report.count(tr(NOT_INSTALLED_STRING.toUtf8().constData()));
    if (count <= 0) {
        return NO_ERROR;
    }
    QStringList arguments{QStringLiteral("rtmail")};
    if (options.verbose) {
        arguments << QStringLiteral("-v");
    }
    // Required: no shell removes the quotes, so they are part of the subject, as is the blank at its end.
    arguments << QStringLiteral("-s") << QLatin1Char('\'') + QString::number(count) + tr(" Tavrin patches available' ")
              << options.email;
    QString output;
    if (!pipeToSystemCommand(QStringLiteral("perl"), arguments, output, report)) {
        return NO_ERROR; // required: a scheduled run does not fail because no mail could be sent
    }
    return output;
}

QString TavrinUpdateBusinessLogic::informStopTavrin()
{
    presentLine(tr("Check for running real time systems ..."));
    if (noRealTimeConflict) {
        presentLine(tr("No running Tavrin Real Time System of version '%1' detected.").arg(release));
        return NO_ERROR;
    }
    QString warning = tr("WARNING: A running Tavrin Real Time System of version '%1' was detected.\n").arg(release);
    if (!options.allowWhileRunning) {
        warning += tr("You must stop any instances of Tavrin before applying patches.\n");
    }
    return warning;
}

void TavrinUpdateBusinessLogic::allowUserToCancel(QString prompt) const
{
    if (!options.terminal) {
        return;
    }
    presentLine(prompt);
    // Required: the end of the input means yes, for a run that was started without anyone to ask.
    for (int first = firstCharacterOfNextLine(); first != EOF; first = firstCharacterOfNextLine()) {
        if (first == 'n' || first == 'N') {
            presentLine(tr("\nExiting"));
            std::exit(0);
        }
        if (first == 'y' || first == 'Y') {
            presentLine(QString());
            return;
        }
        presentLine(tr("Please enter 'y' if you wish to proceed, or 'n' if you wish to quit."));
    }
}

void TavrinUpdateBusinessLogic::informStartTavrin() const
{
    presentText(tr("\nYou may restart systems now\n"));
}
