// Every text that a terminal run shows is translated in its context. Each row makes the program show some texts and
// lists all that the run looks up, with repetitions. tst_window_translations has those of the window.
#include "installable_release.h"
#include "recording_translator.h"
#include "test.h"
#include "test_files.h"

using Answer = FakePatchServer::Answer;

namespace {

// A release 5.9 and a 5.8, whose runs record what they look up.
struct Release : InstallableRelease
{
    Release()
    {
        program.recordTexts();
    }

    void setPage(const QByteArray& html)
    {
        source.withFile("index.html", html);
    }

    void setEntry(const QString& markup)
    {
        setPage(PatchPage().markup(markup).html());
    }

    // Lists P1 with another archive.
    void setArchive(const QString& name, const QByteArray& content)
    {
        setPage(pageWith({name}).html());
        source.withFile(name, content);
    }

    void addTool(const QString& name, const QByteArray& script = QByteArray())
    {
        FakeTool fake = FakeTool::running(script);
        fake.readsInput = script.isEmpty();
        tools.add(name, fake);
        program.path(tools.pathDirectory() + ":/usr/bin:/bin");
    }

    // Makes the server the source.
    void serve(const QByteArray& path, const Answer& answer)
    {
        server.answer(path, answer);
        url = server.url();
    }

    using InstallableRelease::url;
    FakeInstallation other{"5.8"};
    FakePatchServer server;
    FakeTools tools;
};

using Preparation = std::function<void(Release&)>;

const Preparation AS_IT_IS([](Release&) {});
const Preparation WITH_A_SYSTEM([](Release& r) { r.program.runningSystems(runningSystem()); });

// What every run looks up for its command line.
const QStringList COMMAND_LINE =
    inContext("main", {"Patch Download URL"}) +
    inContext("QCoreApplication",
              {"Terminal mode", "List unapplied patches", "Just list patches and whether they're applied",
               "List but do not apply patches", "Be more verbose", "Allow updates when system is running",
               "Send list of unapplied patchesto email address", "For testing only - override release to patch."});

const QString NO_TAVRIN = "\nTAVRIN environment variable is not set.\n";
const QStringList REPORT{" Tavrin Release ", "Not Installed"};
const QStringList CHECK = REPORT + QStringList{"Check for running real time systems ..."};
const QStringList NO_CONFLICT = CHECK + QStringList{"No running Tavrin Real Time System of version '%1' detected."};
const QStringList CONFLICT =
    CHECK + QStringList{"WARNING: A running Tavrin Real Time System of version '%1' was detected.\n"};
const QString MUST_STOP = "You must stop any instances of Tavrin before applying patches.\n";
const QStringList ASKED = NO_CONFLICT + QStringList{"\nDo you wish to download and install these patches [y|n]?"};
const QStringList DOWNLOAD = ASKED + QStringList{"Download patch files ...\n"};
const QStringList FROM_DOWNLOAD{"Download patch files ...\n", "Downloaded %1\n",
                                "\nApply patches to Tavrin installation ...\n\n"};
const QString RESTART = "\nYou may restart systems now\n";
const QStringList INSTALLED =
    ASKED + FROM_DOWNLOAD + QStringList{" ** installed %1\n\n", "\nUpdate %1 ...\n", "%1 updated\n", RESTART};
const QStringList DRY_STEPS{"Steps that would be taken are:\n\n", "Download and install patch files ...\n",
                            "\nUpdate %1 ...\n", RESTART};
const QStringList DRY_RUN = NO_CONFLICT + DRY_STEPS;
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
        const Rows<QStringList, QStringList, Preparation> row("options", "texts", "prepare");
        row("command line not understood", {"-x"}, {}, AS_IT_IS);

        row("TAVRIN unset", {}, {NO_TAVRIN}, [](Release& r) { r.program.unset("TAVRIN"); });
        row("installation missing", {}, {"TAVRIN directory is invalid\n%1\n"},
            [](Release& r) { r.program.tavrin("/opt/tavrin/6.0"); });
        row("installation elsewhere", {},
            {"tavrin_update cannot install patches for TAVRIN in non-standard location\n'%1'\n"
             "You must copy and install by hand"},
            [](Release& r) { r.program.tavrin(r.source.path()); });
        row("installation not writable", {},
            {"To apply patches you must have write access to the TAVRIN directories\n(%1)\n"},
            [](Release& r) { r.installation.withMode("lib", 0555); });
        row("override missing", {"-r", "6.0"}, {"TAVRIN directory is invalid\n\n'%1'\t(with release override of '%2')"},
            AS_IT_IS);
        row("override", {"-r", "5.8"},
            DRY_RUN + QStringList{"*** WARNING: Your environment is for Tavrin release '%1',\n"
                                  "but you are running tavrin_update with a release override of '%2'.\n"
                                  "Patches will be listed but not applied.",
                                  "overridden to "},
            AS_IT_IS);
        row("URL not valid", {}, {"Url '%1' is invalid.\n%2"}, [](Release& r) { r.url = "http://[/"; });

        row("source missing", {}, {FETCH_FAILED}, [](Release& r) { r.url = "file:///nowhere/"; });
        row("scheme unknown", {}, {FETCH_FAILED, "Begin your URL with 'http://' or, for local files, 'file:///'."},
            [](Release& r) { r.url = "gopher://host.test/"; });
        row("list redirected", {}, {"Request was redirected.\n"},
            [](Release& r) { r.serve("/", Answer::redirect(302, "/other/")); });
        row("page broken before its list", {},
            {"Failed to find list of patches in page source at %1:\n%2\n", "\nExiting"},
            [](Release& r) { r.setPage("<ul>"); });
        row("page without a list", {}, {"Failed to find list of patches in page source at %1", "\nExiting"},
            [](Release& r) { r.setPage("<ul></ul>"); });
        row("entry without a name", {}, {"Error obtaining patch name for patch ", "\nExiting"},
            [](Release& r) { r.setEntry("<blockquote>text</blockquote>"); });
        row("entry without an archive", {}, {"Error obtaining tar file name for patch ", "\nExiting"},
            [](Release& r) { r.setEntry("<li>P1 1 May</li><blockquote>text</blockquote>"); });

        row("list", {"-l"}, REPORT, AS_IT_IS);
        row("list of all", {"-L"}, REPORT, AS_IT_IS);
        row("nothing missing", {}, REPORT + QStringList{"No new patches"},
            [](Release& r) { r.installation.withPatched("P1"); });
        row("installation of no release", {"-l"}, {" Tavrin Unreleased ", "Not Installed"}, [](Release& r) {
            QVERIFY(QFile::link(r.installation.path(), r.other.path("dev")));
            r.program.tavrin(r.other.path("dev"));
        });
        row("mail", {"-m", "root@host.test"}, MAILED, [](Release& r) { r.addTool("perl"); });
        row("mail, verbose", {"-v", "-m", "root@host.test"}, MAILED + QStringList{EXECUTING},
            [](Release& r) { r.addTool("perl"); });
        row("mail that cannot be sent", {"-m", "root@host.test"},
            MAILED + QStringList{"Failed to start system command: %1"}, [](Release& r) { r.program.path("/nowhere"); });

        row("dry run", {"-n"}, DRY_RUN, AS_IT_IS);
        row("dry run with a running system", {"-n"},
            CONFLICT + DRY_STEPS + QStringList{MUST_STOP, "Continuing to show proposed course of action ...\n\n"},
            WITH_A_SYSTEM);
        row("run with a running system", {}, CONFLICT + QStringList{MUST_STOP, "\nExiting"}, WITH_A_SYSTEM);
        row("-Q with a running system", {"-Q"},
            CONFLICT + QStringList{"-Q option: continuing ...\n\n"} + FROM_DOWNLOAD +
                QStringList{"System command '%1' failed:\n"},
            [](Release& r) {
                WITH_A_SYSTEM(r);
                r.installation.without("bin/bsdtar");
            });
        row("answer no", {}, ASKED + QStringList{"\nExiting"}, [](Release& r) { r.program.input("n\n"); });
        row("answer not understood", {},
            ASKED + QStringList{"Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.", "\nExiting"},
            [](Release& r) { r.program.input("what?\nn\n"); });

        row("installation", {}, INSTALLED, AS_IT_IS);
        row("installation, verbose, with a failing decompressor", {"-v"},
            INSTALLED + QStringList{EXECUTING, "Continuing...\n", EXECUTING, EXECUTING},
            [](Release& r) { r.setArchive("P1.tar.bz2", contentOf(r.source.path() + "/P1.tar")); });
        row("archive that the decompressor removes", {},
            ASKED + FROM_DOWNLOAD + QStringList{"Failed to decompress file %1"}, [](Release& r) {
                r.setArchive("P1.tar.gz", "text");
                r.addTool("gunzip", "/bin/rm \"$1\"");
            });
        row("archive of another name", {}, INSTALLED + QStringList{"Internal error: Failed to mark update %1 applied."},
            [](Release& r) { r.setArchive("other.tar", contentOf(r.source.path() + "/P1.tar")); });
        row("download missing", {}, DOWNLOAD + QStringList{"Download of %1 failed: %2\n"},
            [](Release& r) { QVERIFY(QFile::remove(r.source.path() + "/P1.tar")); });
        row("download redirected", {}, DOWNLOAD + QStringList{"Download request was redirected.\n"}, [](Release& r) {
            r.serve("/", Answer::body(pageOf({"P1"}).html()));
            r.serve("/P1.tar", Answer::redirect(302, "/other/"));
        });
        row("no directory for downloads", {},
            DOWNLOAD + QStringList{"Failed to access patch download directory, %1/patches."},
            [](Release& r) { r.installation.without("patches").withFile("patches"); });
        row("directory instead of the download", {}, DOWNLOAD + QStringList{"Failed to open local patch file, %1"},
            [](Release& r) { r.installation.withFile("patches/P1.tar/file"); });
        row("empty download", {}, DOWNLOAD + QStringList{"No data downloaded for patch file, %1"},
            [](Release& r) { r.source.withFile("P1.tar", {}); });
    }

    void everyTextOfATerminalRunIsTranslated()
    {
        QFETCH(Preparation, prepare);
        QFETCH(QStringList, options);
        QFETCH(QStringList, texts);
        Release release;
        prepare(release);
        const ProgramRun run = release.run(options);
        QVERIFY2(!run.crashed && !run.timedOut, describe(run));
        const QStringList expected = COMMAND_LINE + inContext("TavrinUpdateBusinessLogic", texts);
        const QString differences = textsComplaint(expected, release.program.recordedTexts());
        QVERIFY2(differences.isEmpty(), qUtf8Printable(differences + describe(run)));
    }

    void translatedTextIsShown()
    {
        Release release;
        release.program.unset("TAVRIN");
        compareRun(release.program.run({"-t"}), 1, {}, RecordingTranslator::answerTo(NO_TAVRIN).toUtf8() + '\n');
    }
};

TAVRIN_TEST_MAIN(TstTranslations)
#include "tst_translations.moc"
