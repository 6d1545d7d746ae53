// Runs that list: what each listing option prints, for both kinds of source and for every state of the installation.
// The markup of entries is tested in tst_listing_entries, the program's environment in tst_listing_surroundings,
// mailing in tst_mail_report, and failing runs in tst_listing_failures.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

#include <QDir>

namespace {

const PatchPage THREE_PATCHES = PatchPage()
                                    .entry("P1", "1 May 2020", "first")
                                    .entry("P2", "2 May 2020", "second\nin two lines")
                                    .entry("P3", "3 May 2020", "third");

// Compact lists of them.
const QByteArray NO_PATCH_APPLIED = compactReportOf("5.9", {}, {"P1", "P2", "P3"});
const QByteArray FIRST_PATCH_APPLIED = compactReportOf("5.9", {"P1"}, {"P2", "P3"});

} // namespace

class TstListing : public Test
{
    Q_OBJECT

private slots:
    void optionsChooseTheReport_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");
        const QByteArray plain = reportOf("5.9", {{"P2", "second\nin two lines"}, {"P3", "third"}});
        row("-l", {"-l"}, plain);
        row("-L", {"-L"}, FIRST_PATCH_APPLIED);
        row("-n", {"-n"}, plain + DRY_RUN);
        row("-l -L", {"-l", "-L"}, FIRST_PATCH_APPLIED);
        row("-L -l", {"-L", "-l"}, FIRST_PATCH_APPLIED);
        row("-l -n", {"-l", "-n"}, plain + DRY_RUN);
        row("-L -n", {"-L", "-n"}, FIRST_PATCH_APPLIED + DRY_RUN);
        row("-l -v", {"-l", "-v"}, plain);
        row("-n -v", {"-n", "-v"}, plain + DRY_RUN);
        row("-l -Q", {"-l", "-Q"}, plain);
        row("-n -Q", {"-n", "-Q"}, plain + DRY_RUN);
        row("a cluster without -t", {"-lvQ"}, plain);
        row("-l with an empty address", {"-l", "-m", ""}, plain);
        row("-l with a redundant release", {"-l", "-r", "5.9"}, plain);
    }

    void optionsChooseTheReport()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        ServedRelease release(THREE_PATCHES);
        release.installation.withPatched("P1");
        const QStringList before = release.installation.tree();
        const LocalSource folder(THREE_PATCHES);

        compareRun(release.program.run(QStringList{"-t"} + options + QStringList{folder.url()}), 0, output);
        compareRun(release.run(options), 0, output);
        QCOMPARE(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(release.server.requests().first().method, QByteArray("GET"));
        QCOMPARE(release.installation.tree(), before);
    }

    // A long report is printed in pieces.
    void longReportIsWhole()
    {
        PatchPage page;
        QList<UnappliedPatch> missing;
        QStringList names;
        for (int i = 0; i < 3000; ++i) {
            names << QString("P%1").arg(i);
            const QString text = QString::fromUtf8("Fixes \u00e4 \u2013 \U0001f600 number %1.\nMore.").arg(i);
            page.entry(names.last(), "1 May 2020", text);
            missing << UnappliedPatch{names.last(), text};
        }
        const LocalSource folder(page);
        InstallableRelease release(page);
        compareRun(release.program.run({"-t", "-l", folder.url()}), 0, reportOf("5.9", missing));
        compareRun(release.program.run({"-t", "-L", folder.url()}), 0, compactReportOf("5.9", {}, names));
    }

    void nothingToApplyEndsTheRun_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");
        const QByteArray plain = reportOf("5.9");
        row("-t alone", {}, plain);
        row("-l", {"-l"}, plain);
        row("-L", {"-L"}, compactReportOf("5.9", {"P1", "P2", "P3"}, {}));
        row("-n", {"-n"}, plain);
        row("-v", {"-v"}, plain);
        row("-Q", {"-Q"}, plain);
        row("-m with an empty address", {"-m", ""}, plain);
        row("-m with an address", {"-m", "root@host.test"}, {});
    }

    void nothingToApplyEndsTheRun()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        InstallableRelease release(THREE_PATCHES);
        release.installation.withPatched("P1").withPatched("P2").withPatched("P3");
        FakeTools tools;
        tools.add("perl");
        release.program.path(tools.pathDirectory()).runningSystems(runningSystem());
        compareRun(release.run(options), 0, output);
        QCOMPARE(tools.calls().size(), 0);
    }

    void localUrlNamesAFolder_data()
    {
        const Rows<QString> row("suffix");
        row("a trailing slash", "/");
        row("no trailing slash", "");
        row("the name of the page", "/index.html");
        row("the name of the page in capitals", "/INDEX.HTML");
    }

    void localUrlNamesAFolder()
    {
        QFETCH(QString, suffix);
        const FakeInstallation installation;
        QTemporaryDir folder(QDir::tempPath() + "/with space-XXXXXX");
        THREE_PATCHES.writeTo(folder.path());
        // Not encoded, as typed by a user.
        const QString url = "file://" + folder.path() + suffix;
        compareRun(Program().tavrin(installation.path()).run({"-t", "-L", url}), 0, NO_PATCH_APPLIED);
    }

    void pageNameIsKeptInAnHttpUrl()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/some/index.html/", FakePatchServer::Answer::body(pageOf(0).html()));
        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url("/some/index.html")});
        compareRun(run, 0, reportOf("5.9"));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/some/index.html/"});
    }

    void onlyTheFirstUrlIsUsed()
    {
        ServedRelease release{PatchPage()};
        compareRun(
            release.program.run({"-t", "-l", release.server.url("/5.9/"), release.server.url("/two/"), "http://[/"}), 0,
            reportOf("5.9"));
        QCOMPARE(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    }

    void pageIsReadAfterAStatusThatIsNoRedirect()
    {
        ServedRelease release{PatchPage()};
        release.server.answer("/5.9/", FakePatchServer::Answer::status(306, pageOf(1).html()));
        compareRun(release.run({"-l"}), 0, reportOf("5.9", patchesOf(1)));
    }

    void marksDecideWhatIsApplied_data()
    {
        const Rows<QString, QString, bool> row("file", "patch", "applied");
        row("a mark", "patched/P1", "P1", true);
        row("no mark", "patched/P0", "P1", false);
        row("a mark with a suffix", "patched/P1.txt", "P1", false);
        row("a mark in other letter case", "patched/p1", "P1", false);
        row("a folder", "patched/P1/file", "P1", false);
        row("a hidden mark", "patched/.P1", ".P1", false);
        row("a file outside of the directory", "P1", "P1", false);
        row("a trial patch", "patched/TrialPatch", "TrialPatch_3", true);
        row("a trial patch under its own name", "patched/TrialPatch_3", "TrialPatch_3", false);
    }

    void marksDecideWhatIsApplied()
    {
        QFETCH(QString, file);
        QFETCH(QString, patch);
        QFETCH(bool, applied);
        InstallableRelease release(PatchPage().entry(patch, "1 May 2020", "text"));
        release.installation.withFile(file);
        const QString name = patch.startsWith("TrialPatch") ? QStringLiteral("TrialPatch") : patch;
        compareRun(release.run({"-l"}), 0, applied ? reportOf("5.9") : reportOf("5.9", {{name, "text"}}));
    }

    void marksAreInTheInstallationWithoutAMarksDirectory()
    {
        InstallableRelease release(THREE_PATCHES);
        release.installation.without("patched").withFile("P1").withFile("lib/P2");
        compareRun(release.run({"-L"}), 0, FIRST_PATCH_APPLIED);
    }

    void unreadableMarksCountAsNone()
    {
        InstallableRelease release(THREE_PATCHES);
        release.installation.withPatched("P1").withMode("patched", 0311);
        compareRun(release.run({"-L"}), 0, NO_PATCH_APPLIED);
    }
};

TAVRIN_TEST_MAIN(TstListing)
#include "tst_listing.moc"
