// Patches applied from the window, whole runs: the log, the marks, the message boxes and what is on the disk
// afterwards. In the window a failure does not end a run; each is shown and the run goes on.
#include "expected_texts.h"
#include "fake_patch_server.h"
#include "test_files.h"
#include "window_test.h"

#include <QApplication>
#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>

#include <functional>

using Answer = FakePatchServer::Answer;
using Sabotage = std::function<void(FakeInstallation&)>;

Q_DECLARE_METATYPE(Sabotage)

namespace {

// The terminal's line break is not part of what the log is given.
QString logged(const QByteArray& line)
{
    return "log:" + line.chopped(1);
}

const QString BEGIN = logged(DOWNLOAD);
const QString INSTALL = logged(APPLY);
const QString PAGE_BEGIN = logged(PAGE);
const QString MAY_RESTART = "log:\nYou may restart systems now";
const QStringList END{PAGE_BEGIN, "log:applied_patches.html updated", MAY_RESTART, "status"};

QString downloaded(const QString& name)
{
    return "log:Downloaded " + name + ".tar";
}

QString unpacked(const QString& name)
{
    return "log:x /opt/tavrin/5.9/patched/" + name + '\n';
}

QString installed(const QString& name)
{
    return "log: ** installed " + name + ".tar\n";
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
        const QStringList expected = QStringList{BEGIN,          downloaded("P1"), downloaded("P3"), INSTALL,
                                                 unpacked("P1"), installed("P1"),  unpacked("P3"),   installed("P3")} +
                                     END;
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

    void failureIsShownAndTheRunGoesOn_data()
    {
        const Rows<QByteArray, Sabotage, QStringList, QStringList> row("archive", "sabotage", "expected", "shown");
        const auto nothing = [](FakeInstallation&) {
        };
        const auto without = [](const QString& name) {
            return [name](FakeInstallation& damaged) {
                damaged.without(name);
            };
        };
        const QByteArray good = markArchive("P1");
        const QString root = "/opt/tavrin/5.9";
        const QStringList unpackedAndInstalled{unpacked("P1"), installed("P1")};

        row("nothing", good, nothing, QStringList{BEGIN, downloaded("P1"), INSTALL} + unpackedAndInstalled + END,
            {"P1 Y"});
        row("archive not at the source", {}, nothing,
            QStringList{BEGIN, "fail:Download of %1 failed: Error opening %2: No such file or directory\n", INSTALL,
                        installed("P1")} +
                END,
            {"P1 N"});
        row("no directory for downloads", good, without("patches"),
            QStringList{BEGIN, "fail:Failed to access patch download directory, " + root + "/patches.",
                        downloaded("P1"), INSTALL} +
                unpackedAndInstalled + END,
            {"P1 Y"});
        row("target cannot be opened", good,
            [](FakeInstallation& damaged) { QVERIFY(QDir().mkdir(damaged.path("patches/P1.tar"))); },
            QStringList{BEGIN, "fail:Failed to open local patch file, " + root + "/patches/P1.tar", downloaded("P1"),
                        INSTALL, installed("P1")} +
                END,
            {"P1 N"});
        row("empty archive", "", nothing,
            QStringList{BEGIN, "fail:No data downloaded for patch file, " + root + "/patches/P1.tar", downloaded("P1"),
                        INSTALL, installed("P1")} +
                END,
            {"P1 N"});
        row("archive tool fails", good, without("bin/bsdtar"),
            QStringList{BEGIN, downloaded("P1"), INSTALL,
                        "fail:System command '" + root + "/bin/bsdtar' failed:\n  execvp: No such file or directory",
                        installed("P1")} +
                END,
            {"P1 N"});
        row("page script fails", good,
            [](FakeInstallation& damaged) {
                damaged.withFile("bin/ozna_installed_patches", "die \"no page today\\n\";\n");
            },
            QStringList{BEGIN, downloaded("P1"), INSTALL} + unpackedAndInstalled +
                QStringList{PAGE_BEGIN, "fail:no page today\n", MAY_RESTART, "status"},
            {"P1 Y"});
    }

    void failureIsShownAndTheRunGoesOn()
    {
        QFETCH(QByteArray, archive);
        QFETCH(Sabotage, sabotage);
        QFETCH(QStringList, expected);
        LocalSource files(pageOf({"P1"}));
        if (!archive.isNull()) {
            files.withFile("P1.tar", archive);
        }
        openListOf(files.url());
        sabotage(*installation);
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
        QCOMPARE(recorder->events, (QStringList{BEGIN, "fail:" + failure, downloaded("P2"), INSTALL, installed("P1"),
                                                unpacked("P2"), installed("P2")} +
                                    END));
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
        QCOMPARE(recorder->events, QStringList{BEGIN});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
    }

private:
    // Unpacked, it leaves the mark of the patch in the installation.
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
