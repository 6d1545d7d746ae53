// The one object that carries a run of the updater: it checks the installation, reads the list of patches, knows which
// are applied, reports them, downloads and installs the missing ones. The terminal run and the window drive the same
// object and differ only where `options.terminal` says so. Operations that can fail return the message to show, with
// NO_ERROR (empty) for success; what cannot be returned goes out through failWithMessage().
#pragma once

#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply> // whole: the slots register the pointer as a meta-type
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>

class QByteArray;
class QUrl;
class QXmlStreamReader;

/** Heading put before the proposed steps of a dry run; the terminal run and the window both show it. */
const QString SHOW_PROPOSED_TEXT =
    QString::fromLatin1(QT_TRANSLATE_NOOP("TavrinUpdateBusinessLogic", "Steps that would be taken are:\n\n"));

extern const QString APPLIED_PATCHES_HTML;
extern const QString APPLIED_PATCHES_HTML_UPDATER;
extern const QString UNZIP_COMMAND;
extern const QString HREF_ATTRIBUTE;
extern const QString NEW_PATCH_HEADER;
extern const QString NO_ERROR;
extern const QString NO_NEW_PATCH_STRING;
extern const QString NOT_INSTALLED_STRING;
extern const QString PATCH_URL;
extern const QString PATCHED_DIR;
extern const QString PATCHES_DIR;
extern const QString START_STOP_EXEC_NAME; // required, though nothing in this program reads it
extern const QString TAR_COMMAND;

/** The business logic of one run of the updater. Exactly one instance exists; it lives on the main thread. */
class TavrinUpdateBusinessLogic : public QObject
{
    Q_OBJECT

public:
    /**
     * What the command line asks for. Required: a record that never went through parseCommandLine() describes a
     * verbose terminal run.
     */
    struct CommandLineOptions
    {
        bool apply = false;
        bool showProposed; // required to be unset until parseCommandLine() sets it
        bool terminal = true;
        bool listUnapplied = false;
        bool listAll = false;
        bool verbose = true;
        bool allowWhileRunning = false;
        QString email;
        QString release;
        QString url;
    };

    /** One available patch, as the list page gives it; `applied` is set from the installation afterwards. */
    struct PatchInfo
    {
        PatchInfo(QString patchName, QString patchHeading, bool patchApplied, QString patchTarFileName,
                  QString patchDescription);

        QString name;
        QString heading; // the name, a blank, the date
        bool applied;
        QString tarFileName;
        QString description;
    };

    /** Makes an idle object for the program path as invoked. It opens no connection and touches no file. */
    explicit TavrinUpdateBusinessLogic(QString invokedPath);

    /** One line on how to call the program. Required, though nothing in this program calls it. */
    QString getUsageString();

    // The installation and the patch source.

    /**
     * Finds the installation through TAVRIN, settles the release, checks location and write access, chooses the patch
     * source and connects the network managers. Returns NO_ERROR or the message of the first check that failed; what
     * was set before that check stays set. An invalid release override or URL goes to failWithMessage() instead, which
     * can end the process. Emits processFailed() in that case only.
     */
    [[nodiscard]] QString initialize(const CommandLineOptions& givenOptions);

    /**
     * Reports a fatal error. Terminal mode: the message goes to standard error in Latin-1 and the process ends with
     * status 1. Window mode: emits processFailed() and returns; the caller carries on.
     */
    void failWithMessage(QString message) const;

    /** True when this run shows its steps instead of taking them. */
    bool showProposed() const;

    /** The warning about a release override; empty when the release is not overridden. */
    QString getReleaseOverriddenWarning() const;

    /** The name of the release being patched. */
    QString getTavrinRelease() const;

    /**
     * Normalises the URL so that it names a directory and, when it is valid, makes it the URL in use. Returns NO_ERROR
     * or a message; on failure the URL in use stays as it was.
     */
    [[nodiscard]] QString validateCurrentUrl(QString url);

    /** Like validateCurrentUrl(), and asks for the list again when the URL was accepted. */
    [[nodiscard]] QString setUrl(QString url);

    /** True when the URL in use differs from the default, letter case included. */
    bool urlIsOverridden() const;

    /** The URL that the release, operating system and processor give. */
    QString getDefaultUrlString() const;

    /** The URL in use. */
    QString getCurrentUrlString() const;

    /** The title of the window, naming the release. */
    QString getWindowTitle() const;

    /** Joins the lines of a terminal text for a widget that wraps by itself; a line that ends in "." stays a line. */
    QString formatForGui(QString text);

    // The list of patches.

    /** Finds out whether a running real-time system is of the release being patched. */
    void refreshRealTimeSystems();

    /**
     * Empties the list of patches and asks for the list page of the URL in use; the answer arrives in
     * patchListReceived(). The answer to an earlier request that is still outstanding is dropped. Returns at once,
     * emits nothing, never ends the process.
     */
    void requestUpdatesList();

    /** True when the reply's HTTP status is a redirect. A reply without a status is none. */
    bool isHttpRedirect(QNetworkReply* reply);

    /**
     * Appends one record per entry found in the page. Returns NO_ERROR or a message; records read before an error
     * stay in the list.
     */
    [[nodiscard]] QString parsePatchList(QNetworkReply* reply);

    /** Appends one record to the list of patches. */
    void addPatchToList(QString name, QString heading, bool applied, QString tarFileName, QString description);

    /** Sets every record's applied flag, and the number of unapplied patches, from the installation's marker files. */
    void determinePatchesApplied();

    /**
     * Moves the cursor to the next patch, at the start of a walk to the first one. Returns false at the end and resets
     * the cursor for the next walk. A walk that stops before the end would make the next one start in the middle.
     */
    bool nextPatch();

    // The record under the cursor. Required: outside a walk the texts are a single blank, and the flag is false.
    QString getPatchName() const;
    QString getTarFileName() const;
    QString getPatchDescription() const;
    QString getPatchDate() const; // begins with the blank after the name; required, though this program never calls it
    bool patchIsInstalled() const;

    /** Sets the applied flag of the record under the cursor; call it inside a walk only. */
    void setPatchApplied(bool applied);

    /** How many patches the list holds. */
    int getPatchCount() const;

    /** True when at least one patch was found not applied. */
    bool updatesNeeded() const;

    /** Lays a description out for the mode: indented by tabs in a terminal, on a single line in the window. */
    QString formatPatchDescription(QString text) const;

    // The terminal dialogue.

    /**
     * Prints the report of the list, or mails it when an address was given. What a successful mailer printed goes to
     * failWithMessage(), which can end the process.
     */
    void presentPatchList();

    /**
     * The only way out for progress text. Terminal mode: the text goes to standard output as it is. Window mode: emits
     * appendProgress() with the text less one trailing line break.
     */
    void presentText(const QString& text) const;

    /** The first line of the report: program, release and platform. */
    QString getHeaderLine() const;

    /** Prints the check for running systems. Returns a warning when one conflicts, NO_ERROR when none does. */
    [[nodiscard]] QString informStopTavrin();

    /** Says that systems may be restarted. */
    void informStartTavrin() const;

    /**
     * Asks on the terminal until the user agrees; a "no" ends the process with status 0, the end of the input counts
     * as "yes". Outside terminal mode it returns at once.
     */
    void allowUserToCancel(QString prompt) const;

    /**
     * Mails the report when it names an unapplied patch. Returns what a successful mailer printed, and NO_ERROR when
     * the mailer failed. Required this way round: a scheduled run does not fail because no mail could be sent.
     */
    [[nodiscard]] QString emailPatchInfo(QString report) const;

    // Download and installation.

    /**
     * Starts the download of the missing patches; they are installed when the last download has come in. In a dry run
     * it shows the steps instead and, in terminal mode, ends the process with status 0.
     */
    void applyPatches();

    /** Announces the downloads and, when patches may be applied, starts all of them at once. */
    void beginDownload();

    /** Appends one entry per patch not installed, in the order of the list. */
    void buildPatchArchiveList(QList<QFileInfo>& archives);

    /** True when the name ends in a known archive suffix; upper and lower case differ. */
    bool isArchive(QString fileName) const;

    /** Decompresses the archive in place where the name asks for it, then extracts it. See unpackArchive(). */
    [[nodiscard]] QString decompress(QFileInfo& archive) const;

    /**
     * Unpacks an archive over the installation; a missing file or one without an archive suffix is left alone. May
     * change `archive` to name the decompressed file. Returns NO_ERROR or a message.
     */
    [[nodiscard]] QString unpackArchive(QFileInfo& archive) const;

    /**
     * Runs a program without a shell, waiting up to 30 seconds for it. `input` goes to its standard input in Latin-1,
     * up to the first NUL. `output` receives its standard error or, if that is empty, its standard output, or a
     * message when it could not be run. Returns true when it ended normally with exit code 0.
     */
    bool pipeToSystemCommand(QString command, QStringList arguments, QString& output, QString input) const;

    /**
     * Runs the first program, then the second with the first one's standard output as its input, waiting up to
     * 30 seconds for each. Returns NO_ERROR with the second one's standard output in `output`, or a message: a program
     * that did not start or finish, or whatever either wrote to standard error. Exit codes do not count. Required,
     * though nothing in this program calls it.
     */
    [[nodiscard]] QString systemCommandChain(QString firstCommand, QStringList firstArguments, QString secondCommand,
                                             QStringList secondArguments, QByteArray& output) const;

    /** Marks the first patch as applied whose name starts with the archive's base name, in any letter case. */
    void setPatchApplied(QFileInfo archive);

    /** Has the installation's script regenerate its page of applied patches. Returns NO_ERROR or a message. */
    [[nodiscard]] QString updateAppliedPatchesHtml();

signals:
    /** Text for the window's progress log. */
    void appendProgress(const QString&) const;

    /** The list of patches has been read and compared with the installation (window mode). */
    void patchListReady();

    /** A fatal error in window mode; emitted by failWithMessage() only. */
    void processFailed(const QString&) const;

    /** The applied state of patches has changed (window mode). */
    void updatePatchStatus();

public slots:
    /** Starts the work: looks for running systems, then asks for the list of patches. */
    void execute();

private slots:
    void downloadComplete(QNetworkReply* reply);
    void patchListReceived(QNetworkReply* reply);

private:
    using ReplySlot = void (TavrinUpdateBusinessLogic::*)(QNetworkReply*);

    void overrideRelease(QFileInfo& directory);
    QStringList unwritableEntries(const QFileInfo& directory) const;
    void continueTerminalRun();
    [[nodiscard]] static QString findListMarker(QXmlStreamReader& page, const QString& url);
    [[nodiscard]] QString readEntries(QXmlStreamReader& page);
    bool cursorIsOnPatch() const;
    void makeRoomForDownloads();
    void deleteHandledReplies(const QNetworkReply& current);
    void storeDownload(QNetworkReply& reply);
    void installPatches();
    void presentLine(const QString& line) const;
    QNetworkReply* sendRequest(QNetworkAccessManager& manager, const QUrl& url, ReplySlot whenFinished);
    [[nodiscard]] static QString listFetchFailure(const QNetworkReply& reply);
    [[nodiscard]] static QString downloadFailure(const QNetworkReply& reply);

    QNetworkAccessManager downloadManager;
    QNetworkAccessManager patchListManager;
    QVector<QNetworkReply*> downloadReplies;
    CommandLineOptions options;
    QList<PatchInfo> patches;
    QList<PatchInfo>::const_iterator currentPatch;
    bool noRealTimeConflict; // unset until refreshRealTimeSystems() has asked
    QDir installDir;
    QStringList archiveSuffixes;
    int patchIndex = 0;
    QString currentUrl;
    QString defaultUrl;
    bool patchCursorValid = false;
    int patchesNeeded = 0;
    QString processor;
    QString release;
    bool releaseOverridden = false;
    QString releaseOverriddenWarning;
    QString operatingSystem;
    QString systemDescription;
    QString programPath;
};
