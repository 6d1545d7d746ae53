// Runs for another release than the installed one: which override is accepted, that an override by the installed
// release has no effect, and that any other run only lists.
#include "expected_texts.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

class TstOverride : public Test
{
    Q_OBJECT

private slots:
    void unusableOverrideIsRefused_data()
    {
        const Rows<QString> row("given");
        row("missing", "5.8");
        row("a plain file", "5.7");
        row("unreadable", "5.6");
        row("place marker", "%1");
    }

    void unusableOverrideIsRefused()
    {
        QFETCH(QString, given);
        const FakeInstallation installation;
        FakeInstallation locked("5.6");
        locked.withMode({}, 0311);
        writeTestFile("/opt/tavrin/5.7", {});
        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-r", given});
        QVERIFY(QFile::remove("/opt/tavrin/5.7"));
        const QByteArray name = given.toUtf8();
        compareRun(run, 1, {},
                   "TAVRIN directory is invalid\n\n'/opt/tavrin/" + name + "'\t(with release override of '" + name +
                       "')\n");
    }

    void overrideOutsideTheStandardLocationIsRefusedAfterItsWarning()
    {
        const QTemporaryDir elsewhere;
        QVERIFY(QDir(elsewhere.path()).mkdir("5.8"));
        compareRun(Program().tavrin(elsewhere.filePath("5.9")).run({"-t", "-r", "5.8"}), 1, overrideWarning(),
                   nonStandardLocation(elsewhere.filePath("5.8")));
    }

    void redundantOverrideHasNoEffect_data()
    {
        const Rows<QString, QString> row("installed", "given");
        row("same name", "5.9", "5.9");
        row("given in capitals", "beta", "BETA");
        row("installed in capitals", "RC1", "rc1");
        row("empty", "5.9", "");
    }

    void redundantOverrideHasNoEffect()
    {
        QFETCH(QString, installed);
        QFETCH(QString, given);
        InstallableRelease release(PatchPage(), installed);
        compareRun(release.run({"-r", given}), 0, reportOf(installed));
        // The run still applies patches, so it needs write access.
        release.installation.withMode("lib", 0555);
        compareRun(release.run({"-r", given}), 1, {}, notWritable({release.installation.path("lib")}));
    }

    void overrideOnlyLists_data()
    {
        const Rows<QStringList> row("options");
        row("without another option", {});
        row("-l", {"-l"});
        row("-Q", {"-Q"});
    }

    void overrideOnlyLists()
    {
        QFETCH(QStringList, options);
        InstallableRelease release({"P1.tar", "P2.tar"});
        FakeInstallation overriding("5.8");
        overriding.withPatched("P1");
        const QStringList before = overriding.tree();
        const QStringList installedBefore = release.installation.tree();
        compareRun(release.run(QStringList{"-r", "5.8"} + options), 0,
                   overrideWarning() + reportOf("overridden to 5.8", {{"P2", "text"}}) + STEPS_HEADING + CHECK +
                       noSystemDetected("5.8") + DRY_STEPS);
        QCOMPARE(overriding.tree(), before);
        QCOMPARE(release.installation.tree(), installedBefore);
    }

    // Also when standard output is a file or a pipe, which is buffered.
    void warningIsShownBeforeTheListArrives()
    {
        ServedRelease release{PatchPage()};
        const FakeInstallation overriding("5.8");
        release.server.answer("/5.9/", FakePatchServer::Answer::body(PatchPage().html()).held());
        const auto session = release.start({"-r", "5.8"});
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"}, LONG_WAIT);
        QVERIFY(session->waitForOutput(overrideWarning()));
        release.server.release("/5.9/");
        compareRun(session->finish(), 0, overrideWarning() + reportOf("overridden to 5.8"));
    }

    void overrideNeedsNoWriteAccess()
    {
        InstallableRelease release{PatchPage()};
        FakeInstallation overriding("5.8");
        overriding.withMode("lib", 0555).without("patches");
        compareRun(release.run({"-r", "5.8"}), 0, overrideWarning() + reportOf("overridden to 5.8"));
    }

    void placeMarkersInNamesAreNotReplaced()
    {
        InstallableRelease release(PatchPage(), "%2");
        const FakeInstallation overriding("%1");
        compareRun(release.run({"-r", "%1"}), 0, overrideWarning("%2", "%1") + reportOf("overridden to %1"));
    }

private:
    void tearDown() override
    {
        QCOMPARE(QDir("/opt/tavrin").entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

TAVRIN_TEST_MAIN(TstOverride)
#include "tst_override.moc"
