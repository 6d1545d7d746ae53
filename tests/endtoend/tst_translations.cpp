// Every text that a terminal run shows goes through a translation call in its context. Each row brings the program to
// show some of them and names all that the run looks up, as often as it does. The window's are in
// tst_window_translations.
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "program_run.h"
#include "recording_translator.h"
#include "test.h"
#include "test_files.h"

#include <functional>

namespace {

// A release 5.9 beside a 5.8, and a local source whose one patch P1 is missing and can be installed.
struct World
{
    World()
    {
        installation.withTools();
        page(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
        archive("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
        program.tavrin(installation.path()).input("y\n").recordTexts();
    }

    void page(const PatchPage& listed)
    {
        listed.writeTo(source.path());
    }

    void page(const QByteArray& html)
    {
        writeTestFile(source.filePath("index.html"), html);
    }

    void archive(const QString& name, const QByteArray& content)
    {
        writeTestFile(source.filePath(name), content);
    }

    // The list then offers P1 in another archive.
    void onlyArchive(const QString& name, const QByteArray& content)
    {
        page(PatchPage().entry("P1", "1 May", "text", name));
        archive(name, content);
    }

    // Running beside the program.
    void system(const QByteArray& version)
    {
        program.runningSystems(version + "\tuser\t/home/user\t4711\n");
    }

    void tool(const QString& name, const QByteArray& script, bool readsInput = false)
    {
        FakeTool fake;
        fake.script = script;
        fake.readsInput = readsInput;
        tools.add(name, fake);
        program.path(tools.pathDirectory() + ":/usr/bin:/bin");
    }

    FakeInstallation installation;
    FakeInstallation beside{"5.8"};
    QTemporaryDir source;
    FakePatchServer server;
    FakeTools tools;
    Program program;
    QString url = "file://" + source.path();
};

using Preparation = std::function<void(World&)>;

void asItIs(World& world)
{
    Q_UNUSED(world)
}

// What every run looks up for its command line.
const QStringList COMMAND_LINE =
    inContext("main", {"Patch Download URL"}) +
    inContext("QCoreApplication",
              {"Terminal mode", "List unapplied patches", "Just list patches and whether they're applied",
               "List but do not apply patches", "Be more verbose", "Allow updates when system is running",
               "Send list of unapplied patchesto email address", "For testing only - override release to patch."});

const QStringList REPORT{" Tavrin Release ", "Not Installed"};
const QStringList CHECK{"Check for running real time systems ..."};
const QStringList NO_CONFLICT =
    REPORT + CHECK + QStringList{"No running Tavrin Real Time System of version '%1' detected."};
const QStringList CONFLICT =
    REPORT + CHECK + QStringList{"WARNING: A running Tavrin Real Time System of version '%1' was detected.\n"};
const QString MUST_STOP = "You must stop any instances of Tavrin before applying patches.\n";
const QStringList ASKED = NO_CONFLICT + QStringList{"\nDo you wish to download and install these patches [y|n]?"};
const QStringList DOWNLOAD = ASKED + QStringList{"Download patch files ...\n"};
const QStringList APPLY = DOWNLOAD + QStringList{"Downloaded %1\n", "\nApply patches to Tavrin installation ...\n\n"};
const QStringList INSTALLED{" ** installed %1\n\n"};
const QString RESTART = "\nYou may restart systems now\n";
const QStringList FINISH{"\nUpdate %1 ...\n", "%1 updated\n", RESTART};
const QStringList DRY_STEPS{"Download and install patch files ...\n", "\nUpdate %1 ...\n", RESTART};
const QString STEPS_HEADING = "Steps that would be taken are:\n\n";
const QString FETCH_FAILED = "Failed to read patches from\n%1\n%2\n";
const QString EXECUTING = "Executing system command: %1 ";
const QStringList MAILED =
    REPORT + QStringList{"On %1, the Tavrin %2 distribution\ndoes not have the following patches installed\n\n",
                         "Not Installed", " Tavrin patches available' "};

} // namespace

Q_DECLARE_METATYPE(Preparation)

class TstTranslations : public Test
{
    Q_OBJECT

private slots:
    void everyTextOfATerminalRunIsTranslated_data()
    {
        QTest::addColumn<Preparation>("prepare");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("texts");
        const auto row = [](const char* name, const Preparation& prepare, const QStringList& arguments,
                            const QStringList& texts) {
            QTest::newRow(name) << prepare << QStringList("-t") + arguments << texts;
        };

        row("command line not understood", asItIs, {"-x"}, {});

        row("TAVRIN unset", [](World& w) { w.program.unset("TAVRIN"); }, {},
            {"\nTAVRIN environment variable is not set.\n"});
        row("installation missing", [](World& w) { w.program.tavrin("/opt/tavrin/6.0"); }, {},
            {"TAVRIN directory is invalid\n%1\n"});
        row("installation elsewhere", [](World& w) { w.program.tavrin(w.source.path()); }, {},
            {"tavrin_update cannot install patches for TAVRIN in non-standard location\n'%1'\n"
             "You must copy and install by hand"});
        row("installation not writable", [](World& w) { w.installation.withMode("lib", 0555); }, {},
            {"To apply patches you must have write access to the TAVRIN directories\n(%1)\n"});
        row("override missing", asItIs, {"-r", "6.0"},
            {"TAVRIN directory is invalid\n\n'%1'\t(with release override of '%2')"});
        row("override", asItIs, {"-r", "5.8"},
            NO_CONFLICT + DRY_STEPS +
                QStringList{"*** WARNING: Your environment is for Tavrin release '%1',\n"
                            "but you are running tavrin_update with a release override of '%2'.\n"
                            "Patches will be listed but not applied.",
                            "overridden to ", STEPS_HEADING});
        row("URL not valid", [](World& w) { w.url = "http://[/"; }, {}, {"Url '%1' is invalid.\n%2"});

        row("source missing", [](World& w) { w.url = "file:///nowhere/"; }, {}, {FETCH_FAILED});
        row("scheme unknown", [](World& w) { w.url = "gopher://host.test/"; }, {},
            {FETCH_FAILED, "Begin your URL with 'http://' or, for local files, 'file:///'."});
        row("list redirected",
            [](World& w) {
                w.server.answer("/", FakePatchServer::Answer::redirect(302, "/other/"));
                w.url = w.server.url();
            },
            {}, {"Request was redirected.\n"});
        row("page broken before its list", [](World& w) { w.page("<ul>"); }, {},
            {"Failed to find list of patches in page source at %1:\n%2\n", "\nExiting"});
        row("page without a list", [](World& w) { w.page("<ul></ul>"); }, {},
            {"Failed to find list of patches in page source at %1", "\nExiting"});
        row("entry without a name", [](World& w) { w.page(PatchPage().markup("<blockquote>text</blockquote>")); }, {},
            {"Error obtaining patch name for patch ", "\nExiting"});
        row("entry without an archive",
            [](World& w) { w.page(PatchPage().markup("<li>P1 1 May</li><blockquote>text</blockquote>")); }, {},
            {"Error obtaining tar file name for patch ", "\nExiting"});

        row("list", asItIs, {"-l"}, REPORT);
        row("list of all", asItIs, {"-L"}, REPORT);
        row(
            "nothing missing", [](World& w) { w.installation.withPatched("P1"); }, {},
            REPORT + QStringList{"No new patches"});
        row("installation of no release",
            [](World& w) {
                QVERIFY(QFile::link(w.installation.path(), w.beside.path("dev")));
                w.program.tavrin(w.beside.path("dev"));
            },
            {"-l"}, {" Tavrin Unreleased ", "Not Installed"});
        row(
            "mail", [](World& w) { w.tool("perl", "", true); }, {"-m", "root@host.test"}, MAILED);
        row(
            "mail, verbose", [](World& w) { w.tool("perl", "", true); }, {"-v", "-m", "root@host.test"},
            MAILED + QStringList{EXECUTING});
        row(
            "mail that cannot be sent", [](World& w) { w.program.path("/nowhere"); }, {"-m", "root@host.test"},
            MAILED + QStringList{"Failed to start system command: %1"});

        row("dry run", asItIs, {"-n"}, NO_CONFLICT + DRY_STEPS + QStringList{STEPS_HEADING});
        row(
            "dry run beside a system", [](World& w) { w.system("5.9"); }, {"-n"},
            CONFLICT + DRY_STEPS +
                QStringList{STEPS_HEADING, MUST_STOP, "Continuing to show proposed course of action ...\n\n"});
        row(
            "run beside a system", [](World& w) { w.system("5.9"); }, {},
            CONFLICT + QStringList{MUST_STOP, "\nExiting"});
        row(
            "-Q beside a system",
            [](World& w) {
                w.system("5.9");
                w.installation.without("bin/bsdtar");
            },
            {"-Q"},
            CONFLICT + QStringList{"-Q option: continuing ...\n\n", "Download patch files ...\n", "Downloaded %1\n",
                                   "\nApply patches to Tavrin installation ...\n\n", "System command '%1' failed:\n"});
        row(
            "answer no", [](World& w) { w.program.input("n\n"); }, {}, ASKED + QStringList{"\nExiting"});
        row(
            "answer not understood", [](World& w) { w.program.input("what?\nn\n"); }, {},
            ASKED + QStringList{"Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.", "\nExiting"});

        row("installation", asItIs, {}, APPLY + INSTALLED + FINISH);
        row(
            "installation, verbose, with a decompressor that refuses",
            [](World& w) { w.onlyArchive("P1.tar.bz2", archiveOf(w.installation.path("patched/P1"), "text")); }, {"-v"},
            APPLY + INSTALLED + FINISH + QStringList{EXECUTING, "Continuing...\n", EXECUTING, EXECUTING});
        row(
            "archive that goes when decompressed",
            [](World& w) {
                w.onlyArchive("P1.tar.gz", "text");
                w.tool("gunzip", "/bin/rm \"$1\"");
            },
            {}, APPLY + QStringList{"Failed to decompress file %1"});
        row(
            "archive of another name",
            [](World& w) { w.onlyArchive("other.tar", archiveOf(w.installation.path("patched/P1"), "text")); }, {},
            APPLY + INSTALLED + FINISH + QStringList{"Internal error: Failed to mark update %1 applied."});
        row(
            "download missing", [](World& w) { QVERIFY(QFile::remove(w.source.filePath("P1.tar"))); }, {},
            DOWNLOAD + QStringList{"Download of %1 failed: %2\n"});
        row(
            "download redirected",
            [](World& w) {
                w.server.answer("/", FakePatchServer::Answer::body(PatchPage().entry("P1", "1 May", "text").html()));
                w.server.answer("/P1.tar.gz", FakePatchServer::Answer::redirect(302, "/other/"));
                w.url = w.server.url();
            },
            {}, DOWNLOAD + QStringList{"Download request was redirected.\n"});
        row(
            "no directory for downloads", [](World& w) { w.installation.without("patches").withFile("patches"); }, {},
            DOWNLOAD + QStringList{"Failed to access patch download directory, %1/patches."});
        row(
            "directory in the download's place", [](World& w) { w.installation.withFile("patches/P1.tar/file"); }, {},
            DOWNLOAD + QStringList{"Failed to open local patch file, %1"});
        row(
            "empty download", [](World& w) { w.archive("P1.tar", QByteArray()); }, {},
            DOWNLOAD + QStringList{"No data downloaded for patch file, %1"});
    }

    void everyTextOfATerminalRunIsTranslated()
    {
        QFETCH(Preparation, prepare);
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, texts);
        World world;
        prepare(world);
        const ProgramRun run = world.program.run(arguments + QStringList{world.url});
        QVERIFY2(!run.crashed && !run.timedOut, describe(run));
        const QString complaint =
            textsComplaint(COMMAND_LINE + inContext("TavrinUpdateBusinessLogic", texts), world.program.recordedTexts());
        QVERIFY2(complaint.isEmpty(), qUtf8Printable(complaint + describe(run)));
    }

    void translatedTextIsShown()
    {
        World world;
        world.program.unset("TAVRIN");
        const QString text = "\nTAVRIN environment variable is not set.\n";
        compareRun(world.program.run({"-t"}), 1, QByteArray(), RecordingTranslator::answerTo(text).toUtf8() + "\n");
    }
};

TAVRIN_TEST_MAIN(TstTranslations)

#include "tst_translations.moc"
