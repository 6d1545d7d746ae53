// Every text that a run of the program prints, piece by piece, for tests to compare whole outputs with. Where a piece
// names a release, it is 5.9 unless another is given.
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

/** The report's first line with its line break. The release text is the name, or what replaces it. */
QByteArray headerLine(const QString& releaseText, const QString& program = QStringLiteral("tavrin_update"));

/** Name and description of a patch that the report says is not installed. */
using UnappliedPatch = QPair<QString, QString>;

/** The report without -L; ends with "No new patches" when none is given. */
QByteArray reportOf(const QString& releaseText, const QList<UnappliedPatch>& patches = {});

/** The report with -L: the applied patches, then the missing ones. */
QByteArray compactReportOf(const QString& releaseText, const QStringList& applied, const QStringList& missing);

/** The warning in front of the report when another release is given than the installed one. */
QByteArray overrideWarning(const QByteArray& installed = "5.9", const QByteArray& given = "5.8");

/** What the search for running systems found. */
QByteArray systemDetected(const QByteArray& release = "5.9");
QByteArray noSystemDetected(const QByteArray& release = "5.9");

/** The search for running systems begins. */
inline const QByteArray CHECK = "Check for running real time systems ...\n";

/** The search and that it found nothing. */
inline const QByteArray NO_CONFLICT = CHECK + noSystemDetected();

/** What follows systemDetected(): in a run that may not go on, in a dry run, and with -Q. */
inline const QByteArray STOP_SYSTEMS = "You must stop any instances of Tavrin before applying patches.\n";
inline const QByteArray DRY_RUN_CONTINUES = "\nContinuing to show proposed course of action ...\n\n";
inline const QByteArray ALLOWED_TO_CONTINUE = "\n-Q option: continuing ...\n\n";

inline const QByteArray QUESTION = "\nDo you wish to download and install these patches [y|n]?\n";
inline const QByteArray QUESTION_AGAIN = "Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.\n";

/** What a run that gives up says last, after the answer "n" or on standard error. */
inline const QByteArray EXITING = "\nExiting\n";

inline const QByteArray DOWNLOAD = "Download patch files ...\n";
inline const QByteArray APPLY = "\nApply patches to Tavrin installation ...\n\n";
inline const QByteArray PAGE = "\nUpdate applied_patches.html ...\n";

/** What follows the page's heading in a good run. */
inline const QByteArray PAGE_UPDATED = "applied_patches.html updated\n";
inline const QByteArray RESTART_NOTICE = "\nYou may restart systems now\n";
inline const QByteArray PAGE_DONE = PAGE_UPDATED + RESTART_NOTICE;
inline const QByteArray FINISH = PAGE + PAGE_DONE;

/** What a dry run puts before its search for running systems, and what it shows after it. */
inline const QByteArray STEPS_HEADING = "Steps that would be taken are:\n\n";
inline const QByteArray DRY_DOWNLOAD = "Download and install patch files ...\n";
inline const QByteArray DRY_STEPS = DRY_DOWNLOAD + PAGE + RESTART_NOTICE;

/** What a dry run adds to its report when no system runs. */
inline const QByteArray DRY_RUN = STEPS_HEADING + NO_CONFLICT + DRY_STEPS;

/** All of a run up to its downloads, for patches P1, P2 ... that the list describes as "text". */
QByteArray untilDownload(int count, const QByteArray& answer = "\n");

/** The line of each downloaded file. */
QByteArray downloaded(const QList<QByteArray>& files);

/** The same as untilDownload(), further on until the first of the downloaded archives is unpacked. */
QByteArray untilUnpacking(const QList<QByteArray>& archives, const QByteArray& answer = "\n");

/** What an installed archive adds; the members are named as below the installation. */
QByteArray installing(const QByteArray& file, const QList<QByteArray>& members);

/** What a verbose run says before it starts a program. */
QByteArray executing(const QByteArray& command);

/** The message about a program that could not be run to its end. */
QByteArray commandFailed(const QByteArray& command, const QByteArray& reason);

/** The same for a program that cannot be found. */
QByteArray commandMissing(const QByteArray& command);

/** The message of a run that needs the window and cannot have it. */
QByteArray noWindow(const QByteArray& reason = "the window is not installed (package tavrin-update-gui)");

/** The message of a run without TAVRIN. */
inline const QByteArray TAVRIN_NOT_SET = "\nTAVRIN environment variable is not set.\n\n";

/** The message about a TAVRIN that is no readable directory. */
QByteArray invalidDirectory(const QByteArray& path);

/** The message about a download that failed, and the reason when the server answered with an error status. */
QByteArray downloadFailed(const QByteArray& url, const QByteArray& reason);
QByteArray serverReplied(const QByteArray& url);

/** The message about a list that cannot be fetched. */
QByteArray failedToRead(const QString& url, const QString& reason);

/** The message about entries of an installation that cannot be written. */
QByteArray notWritable(const QStringList& paths);

/** The message about a release at another place than the standard one. */
QByteArray nonStandardLocation(const QString& path);

/** Patches P1, P2 ... with "description 1" and so on, as a report shows those of pageOf(count) when none is applied. */
QList<UnappliedPatch> patchesOf(int count);

/** The page of applied patches of release 5.9 for empty marker files with these names. */
QByteArray appliedPage(const QStringList& names);

/** The window's title. */
inline const QString WINDOW_TITLE = "Update Tavrin version '5.9'";

/** The texts of the update widget's form, in the order in which it looks them up. */
inline const QStringList FORM_TEXTS{
    "Running Tavrin Real Time Systems",
    "Version",
    "Conflict?",
    "User Name",
    "rtexec pid",
    "Working Directory",
    "'Apply Patches' button disabled due to conflict with running real-time systems",
    "override",
    "Recommended Patches",
    "From",
    "Restore Default URL",
    "Description",
    "Applied?",
    "Patch",
    "No new patches",
    "Progress",
    "Apply Patches",
    "Done",
};

/** The title above the table of running systems. */
inline const QString NO_SYSTEMS = "No running Tavrin Real Time Systems detected";
inline const QString ONE_SYSTEM = "1 running Tavrin Real Time System detected";

/** What the window asks before it applies patches beside a conflicting system. */
inline const QString CONFLICT_QUESTION =
    "You are attempting to update Tavrin while a real-time system is running. This is ill-advised as the consequences "
    "are, in general, unpredictable.\nProceed anyways?";
