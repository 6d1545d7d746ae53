// Whole runs that apply patches from the window: the log, the marks, the message boxes and the files afterwards. In the
// window a failure does not end a run: it is shown, and the run continues.
#include "download_window.h"
#include "window_test.h"

#include <QRegularExpression>

#include <functional>

using Answer = FakePatchServer::Answer;
using Damage = std::function<void(FakeInstallation&)>;

Q_DECLARE_METATYPE(Damage)

namespace {

// The lines about an archive that contains the mark of its patch.
QStringList unpacked(const QString& name)
{
    return {"log:x /opt/tavrin/5.9/patched/" + name + '\n', installed(name + ".tar")};
}

} // namespace

class TstApply : public WindowTest
{
    Q_OBJECT

private slots:
    void missingPatchesAreApplied_data()
    {
        const Rows<bool, QList<QByteArray>> row("overHttp", "requests");
        row("from a local source", false, {});
        row("over http", true, {"/", "/P1.tar", "/P3.tar"});
    }

    void missingPatchesAreApplied()
    {
        QFETCH(bool, overHttp);
        const QStringList names{"P1", "P2", "P3"};
        installation->withPatched("P2");
        LocalSource files(pageOf(names));
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf(names).html()));
        for (const QString& name : names) {
            files.withFile(name + ".tar", markArchive(name));
            server.answer('/' + name.toUtf8() + ".tar", Answer::body(markArchive(name)));
        }
        // The log of the downloads has the order in which they finish.
        server.answer("/P3.tar", Answer::body(markArchive("P3")).after("/P1.tar"));
        openListOf(overHttp ? server.url() : files.url());
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y", "P3 N"}));
        clickApply();
        const QStringList expected = QStringList{START, downloaded("P1.tar"), downloaded("P3.tar"), INSTALL} +
                                     unpacked("P1") + unpacked("P3") + FINISHED;
        QCOMPARE(recorder->events, expected);
        QCOMPARE(progress->toPlainText(),
                 expected.mid(0, expected.count() - 1).replaceInStrings(QRegularExpression("^log:"), "").join('\n'));
        QCOMPARE(marks(), QStringList({"P1 Y", "P2 Y", "P3 Y"}));
        QVERIFY(!applyButton->isEnabled());
        QVERIFY(noUpdates->isVisible());
        QCOMPARE(QDir(installation->path("patched")).entryList(QDir::Files), names);
        QCOMPARE(QDir(installation->path("patches")).entryList(QDir::Files), QStringList({"P1.tar", "P3.tar"}));
        QCOMPARE(contentOf(installation->path("applied_patches.html")), appliedPage(names));
        QTEST(server.requestedPaths(), "requests");
    }

    void failureIsShownAndTheRunContinues_data()
    {
        const Rows<QByteArray, Damage, QStringList, QStringList> row("archive", "damage", "expected", "shown");
        const auto nothing = [](FakeInstallation&) {
        };
        const auto without = [](const QString& name) {
            return [name](FakeInstallation& damaged) {
                damaged.without(name);
            };
        };
        const QByteArray good = markArchive("P1");
        const QString root = "/opt/tavrin/5.9";
        row("nothing", good, nothing, QStringList{START, downloaded("P1.tar"), INSTALL} + unpacked("P1") + FINISHED,
            {"P1 Y"});
        row("archive not at the source", {}, nothing,
            runOf({"fail:Download of %1 failed: Error opening %2: No such file or directory\n"}, {"P1.tar"}), {"P1 N"});
        row("no directory for downloads", good, without("patches"),
            QStringList{START, "fail:Failed to access patch download directory, " + root + "/patches.",
                        downloaded("P1.tar"), INSTALL} +
                unpacked("P1") + FINISHED,
            {"P1 Y"});
        row("target cannot be opened", good,
            [](FakeInstallation& damaged) { QVERIFY(QDir().mkdir(damaged.path("patches/P1.tar"))); },
            runOf({"fail:Failed to open local patch file, " + root + "/patches/P1.tar", downloaded("P1.tar")},
                  {"P1.tar"}),
            {"P1 N"});
        row("empty archive", "", nothing,
            runOf({"fail:No data downloaded for patch file, " + root + "/patches/P1.tar", downloaded("P1.tar")},
                  {"P1.tar"}),
            {"P1 N"});
        row("archive tool fails", good, without("bin/bsdtar"),
            QStringList{START, downloaded("P1.tar"), INSTALL,
                        "fail:System command '" + root + "/bin/bsdtar' failed:\n  execvp: No such file or directory",
                        installed("P1.tar")} +
                FINISHED,
            {"P1 N"});
        row("page script fails", good,
            [](FakeInstallation& damaged) { damaged.withFile("bin/ozna_installed_patches", "die \"no page\\n\";\n"); },
            QStringList{START, downloaded("P1.tar"), INSTALL} + unpacked("P1") +
                QStringList{logged(PAGE), "fail:no page\n", logged(RESTART_NOTICE), "status"},
            {"P1 Y"});
    }

    void failureIsShownAndTheRunContinues()
    {
        QFETCH(QByteArray, archive);
        QFETCH(Damage, damage);
        QFETCH(QStringList, expected);
        LocalSource files(pageOf({"P1"}));
        if (!archive.isNull()) {
            files.withFile("P1.tar", archive);
        }
        openListOf(files.url());
        damage(*installation);
        const QStringList failures = expected.filter(QRegularExpression("^fail:"));
        for (int i = 0; i < failures.count(); ++i) {
            dialogs->answer(QMessageBox::Ok);
        }
        clickApply();
        expected.replaceInStrings("%1", files.url() + "P1.tar").replaceInStrings("%2", files.path() + "/P1.tar");
        QCOMPARE(recorder->events, expected);
        QTEST(marks(), "shown");
        QCOMPARE(dialogs->dialogs().count(), failures.count());
        for (const DialogAnswerer::Dialog& dialog : dialogs->dialogs()) {
            QCOMPARE(dialog.text, QString("Tavrin Update Warning"));
            QVERIFY2(expected.contains("fail:" + dialog.details), qPrintable(dialog.details));
        }
    }

    void redirectedDownloadIsShown()
    {
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf({"P1", "P2"}).html()));
        server.answer("/P1.tar", Answer::redirect(302, "/elsewhere"));
        server.answer("/P2.tar", Answer::body(markArchive("P2")).after("/P1.tar"));
        openListOf(server.url());
        dialogs->answer(QMessageBox::Ok);
        clickApply();
        const QString failure = "Download request was redirected.\n";
        QCOMPARE(recorder->events,
                 QStringList({START, "fail:" + failure, downloaded("P2.tar"), INSTALL, installed("P1.tar")}) +
                     unpacked("P2") + FINISHED);
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y"}));
        QVERIFY(!server.requestedPaths().contains("/elsewhere"));
        QCOMPARE(dialogs->dialogs().first().details, failure);
    }

    void listFailureGoesToTheLog()
    {
        initialize();
        showMainWindow();
        logic->requestUpdatesList();
        QTRY_COMPARE(recorder->events.count(), 1);
        QCOMPARE(progress->toPlainText(), QString("Failed to read patches from\nfile:///nowhere/index.html\n"
                                                  "Error opening /nowhere/index.html: No such file or directory\n"));
        QCOMPARE(dialogs->dialogs().count(), 0);
    }

    void listFailureIsShown_data()
    {
        const Rows<int, QByteArray, QString> row("status", "page", "message");
        row("redirect", 302, {}, "Request was redirected.\n");
        row("no marker", 200, "<html/>", "Failed to find list of patches in page source at %1");
    }

    void listFailureIsShown()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, page);
        QFETCH(QString, message);
        FakePatchServer server;
        server.answer("/", Answer::status(status, page).header("Location", "/elsewhere"));
        initialize(server.url());
        showMainWindow();
        dialogs->answer(QMessageBox::Ok);
        logic->requestUpdatesList();
        QTRY_COMPARE(dialogs->dialogs().count(), 1);
        QCOMPARE(dialogs->dialogs().first().details, message.replace("%1", server.url()));
        QCOMPARE(marks(), QStringList());
    }

    void nothingMissingDownloadsNothing()
    {
        installation->withPatched("P1");
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf({"P1"}).html()));
        openListOf(server.url());
        QVERIFY(!applyButton->isEnabled());
        apply();
        QCoreApplication::processEvents();
        QCOMPARE(recorder->events, QStringList{START});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
    }

private:
    // Contains the mark of the patch.
    static QByteArray markArchive(const QString& name)
    {
        return archiveOf("/opt/tavrin/5.9/patched/" + name, {});
    }

    void openListOf(const QString& sourceUrl)
    {
        initialize(sourceUrl);
        showMainWindow();
        readList();
    }

    void clickApply()
    {
        QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
        QVERIFY(applyButton->isEnabled());
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QVERIFY(finished.count() == 1 || finished.wait(20000));
    }
};

TAVRIN_GUI_TEST_MAIN(TstApply)
#include "tst_apply.moc"
