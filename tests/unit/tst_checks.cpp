// The checks of the installation in window mode, where none of them ends the process: what is reported and returned,
// and the state of the object afterwards. tst_environment tests what a terminal run prints.
#include "test.h"
#include "test_paths.h"
#include "window_logic.h"

#include <QSignalSpy>

namespace {

using Options = WindowLogic::CommandLineOptions;

Options optionsFor(const QString& release, bool apply)
{
    Options options = WindowLogic::quietOptions();
    options.release = release;
    options.apply = apply;
    return options;
}

// The message without the line break that a terminal run adds.
QString unwritable(const QStringList& paths)
{
    return notWritable(paths).chopped(1);
}

QString defaultUrlOf(const QString& release)
{
    return "http://" + patchServerHost() + "/patches/" + release + "/Linux_x86/";
}

const QString NO_SUCH_OVERRIDE =
    QStringLiteral("fail:TAVRIN directory is invalid\n\n'/opt/tavrin/5.8'\t(with release override of '5.8')");

} // namespace

class TstChecks : public Test
{
    Q_OBJECT

private slots:
    void missingOverrideIsReportedAndItsDirectoryChecked()
    {
        WindowLogic window(optionsFor("5.8", true));
        QCOMPARE(window.events, QStringList{NO_SUCH_OVERRIDE});
        const QString root = "/opt/tavrin/5.8";
        QCOMPARE(window.initialized,
                 unwritable({root, root + "/patched", root + "/patches", root + "/bin", root + "/data",
                             root + "/data/pf", root + "/include", root + "/lib", root + "/man", root + "/man/man1"}));
        QCOMPARE(window.logic.getTavrinRelease(), QString("5.9"));
        QCOMPARE(window.logic.getReleaseOverriddenWarning(), QString());
        QVERIFY(!window.logic.showProposed());
        QVERIFY(window.logic.getHeaderLine().startsWith("tavrin_update Tavrin Release 5.9 "));
    }

    void missingOverrideKeepsTheReleaseAndItsUrl()
    {
        WindowLogic window(optionsFor("5.8", false));
        QCOMPARE(window.events, QStringList{NO_SUCH_OVERRIDE});
        QCOMPARE(window.initialized, QString());
        QCOMPARE(window.logic.getTavrinRelease(), QString("5.9"));
        QCOMPARE(window.logic.getDefaultUrlString(), defaultUrlOf("5.9"));
        QCOMPARE(window.logic.getCurrentUrlString(), defaultUrlOf("5.9"));
        QCOMPARE(window.logic.getReleaseOverriddenWarning(), QString());

        // The directory in use is still the missing one.
        window.installation.withPatched("P1");
        window.list({"P1.tar"});
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), QString("N"));
    }

    void overrideTurnsTheRunIntoAListing()
    {
        FakeInstallation overriding("5.8");
        overriding.withPatched("P1").without("lib"); // nothing is applied, so nothing has to be writable
        WindowLogic window(optionsFor("5.8", true));
        QCOMPARE(window.initialized, QString());
        QCOMPARE(window.events, QStringList()); // the warning is shown when patches are to be applied
        QCOMPARE(window.logic.getReleaseOverriddenWarning(),
                 QString("*** WARNING: Your environment is for Tavrin release '5.9',\n"
                         "but you are running tavrin_update with a release override of '5.8'.\n"
                         "Patches will be listed but not applied."));
        QVERIFY(window.logic.showProposed());
        QCOMPARE(window.logic.getTavrinRelease(), QString("5.8"));
        QCOMPARE(window.logic.getCurrentUrlString(), defaultUrlOf("5.8"));
        QVERIFY(!window.logic.urlIsOverridden());
        window.list({"P1.tar"});
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void redundantOverrideHasNoEffect()
    {
        WindowLogic window(optionsFor("5.9", true));
        QCOMPARE(window.initialized, QString());
        QCOMPARE(window.events, QStringList());
        QCOMPARE(window.logic.getReleaseOverriddenWarning(), QString());
        QVERIFY(!window.logic.showProposed());
    }

    void invalidUrlIsReportedAndTheDefaultStays()
    {
        Options options = optionsFor(QString(), true);
        options.url = "http://[/";
        WindowLogic window(options);
        QCOMPARE(window.events.size(), 1);
        QVERIFY2(window.events.first().startsWith("fail:Url 'http://[/' is invalid.\n"),
                 qPrintable(window.events.first()));
        QCOMPARE(window.initialized, QString());
        QCOMPARE(window.logic.getCurrentUrlString(), defaultUrlOf("5.9"));
        QVERIFY(!window.logic.urlIsOverridden());

        // The initialisation was completed: the answer to a request is received.
        const LocalSource source(pageOf({"P1"}));
        window.events.clear();
        QCOMPARE(window.logic.setUrl(source.url()), QString());
        QCoreApplication::processEvents(); // a local file is read at once
        QCOMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.appliedMarks(), QString("N"));
    }

    void failedCheckKeepsEarlierResults()
    {
        FakeInstallation installation("6.0");
        installation.without("man/man1");
        qputenv("TAVRIN", installation.path().toUtf8());
        TavrinUpdateBusinessLogic logic("tavrin_update");
        QCOMPARE(logic.initialize(optionsFor(QString(), true)), unwritable({"/opt/tavrin/6.0/man/man1"}));
        QCOMPARE(logic.getTavrinRelease(), QString("6.0"));
        QCOMPARE(logic.getDefaultUrlString(), PATCH_URL);
        QCOMPARE(logic.getCurrentUrlString(), QString());

        // The network is not connected yet: a request has no effect, and nothing fails.
        const LocalSource source(pageOf({"P1"}));
        QSignalSpy ready(&logic, SIGNAL(patchListReady()));
        const SignalRecorder recorder(logic);
        QCOMPARE(logic.setUrl(source.url()), QString());
        QCoreApplication::processEvents();
        QCOMPARE(ready.count(), 0);
        QCOMPARE(recorder.events, QStringList());
        QCOMPARE(logic.getPatchCount(), 0);
    }
};

TAVRIN_TEST_MAIN(TstChecks)
#include "tst_checks.moc"
