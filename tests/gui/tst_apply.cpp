// Patches applied from the window, whole runs: the log, the marks, the message boxes and what is on the disk
// afterwards. In the window a failure does not end a run; each is shown and the run goes on.
#include "fake_patch_server.h"
#include "tavrin_update_mainwindow.h"
#include "window_fixture.h"
#include "window_test.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextEdit>
#include <QTreeWidget>

#include <memory>

namespace {

using Logic = TavrinUpdateBusinessLogic;

/** Writes down the signals of the business logic in their order, one line each. */
class Recorder : public QObject
{
    Q_OBJECT

public:
    explicit Recorder(Logic& logic)
    {
        connect(&logic, SIGNAL(appendProgress(QString)), this, SLOT(progress(QString)));
        connect(&logic, SIGNAL(processFailed(QString)), this, SLOT(failure(QString)));
        connect(&logic, SIGNAL(updatePatchStatus()), this, SLOT(status()));
    }

    QStringList lines;

private slots:
    void progress(const QString& text)
    {
        lines << "log: " + text;
    }

    void failure(const QString& text)
    {
        lines << "FAILED: " + text;
    }

    void status()
    {
        lines << "status";
    }
};

/** What a run without a failure says about a patch when it is unpacked. */
QString unpacked(const FakeInstallation& installation, const QString& name)
{
    return "log: x " + installation.path("patched/" + name) + "\n";
}

} // namespace

class TstApply : public WindowTest
{
    Q_OBJECT

private slots:
    void missingPatchesAreApplied_data()
    {
        const Rows<bool> row("overHttp");
        row("from a local source", false);
        row("over http", true);
    }

    void missingPatchesAreApplied()
    {
        QFETCH(bool, overHttp);
        installation->withPatched("P2");
        const PatchPage page = pageOf({"P1", "P2", "P3"});
        LocalSource source(page);
        FakePatchServer server;
        for (const QString& name : QStringList{"P1", "P2", "P3"}) {
            const QByteArray archive = markArchive(*installation, name);
            source.withFile(name + ".tar", archive);
            server.answer('/' + name.toUtf8() + ".tar", FakePatchServer::Answer::body(archive));
        }
        server.answer("/", FakePatchServer::Answer::body(page.html()));
        if (overHttp) {
            // The log of the downloads has the order in which they finish.
            server.answer("/P3.tar", FakePatchServer::Answer::body(markArchive(*installation, "P3")).after("/P1.tar"));
        }
        open(overHttp ? server.url() : source.url());
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y", "P3 N"}));
        apply();
        const QStringList expected{
            "log: Download patch files ...",
            "log: Downloaded P1.tar",
            "log: Downloaded P3.tar",
            "log: \nApply patches to Tavrin installation ...\n",
            unpacked(*installation, "P1"),
            "log:  ** installed P1.tar\n",
            unpacked(*installation, "P3"),
            "log:  ** installed P3.tar\n",
            "log: \nUpdate applied_patches.html ...",
            "log: applied_patches.html updated",
            "log: \nYou may restart systems now",
            "status",
        };
        QCOMPARE(recorder->lines, expected);
        QCOMPARE(marks(), QStringList({"P1 Y", "P2 Y", "P3 Y"}));
        QVERIFY(!window->findChild<QPushButton*>("applyButton")->isEnabled());
        QVERIFY(window->findChild<QWidget*>("noUpdatesLabel")->isVisible());
        QCOMPARE(QDir(installation->path("patched")).entryList(QDir::Files), QStringList({"P1", "P2", "P3"}));
        QCOMPARE(QDir(installation->path("patches")).entryList(QDir::Files), QStringList({"P1.tar", "P3.tar"}));
        QFile html(installation->path("applied_patches.html"));
        QVERIFY(html.open(QIODevice::ReadOnly));
        QCOMPARE(html.readAll().count("<dt>"), 3);
        QStringList logged;
        for (const QString& line : expected.mid(0, expected.count() - 1)) {
            logged << line.mid(5);
        }
        QCOMPARE(window->findChild<QTextEdit*>()->toPlainText(), logged.join('\n'));
        if (overHttp) {
            QCOMPARE(server.requestedPaths(), QList<QByteArray>({"/", "/P1.tar", "/P3.tar"}));
        }
    }

    void failureIsShownAndTheRunGoesOn_data()
    {
        const Rows<QString, QStringList, QStringList> row("sabotage", "expected", "shown");
        const QString root = "/opt/tavrin/5.9";
        const QString begin = "log: Download patch files ...";
        const QString install = "log: \nApply patches to Tavrin installation ...\n";
        const QString unpack = "log: x " + root + "/patched/P1\n";
        const QString installed = "log:  ** installed P1.tar\n";
        const QStringList end{"log: \nUpdate applied_patches.html ...", "log: applied_patches.html updated",
                              "log: \nYou may restart systems now", "status"};
        row("nothing", "", QStringList{begin, "log: Downloaded P1.tar", install, unpack, installed} + end, {"P1 Y"});
        row("archive not at the source", "no archive",
            QStringList{begin, "FAILED: Download of %1 failed: Error opening %2: No such file or directory\n", install,
                        installed} +
                end,
            {"P1 N"});
        row("no directory for downloads", "no patches",
            QStringList{begin, "FAILED: Failed to access patch download directory, " + root + "/patches.",
                        "log: Downloaded P1.tar", install, unpack, installed} +
                end,
            {"P1 Y"});
        row("target cannot be opened", "target is a directory",
            QStringList{begin, "FAILED: Failed to open local patch file, " + root + "/patches/P1.tar"} +
                QStringList{"log: Downloaded P1.tar", install, installed} + end,
            {"P1 N"});
        row("empty archive", "empty archive",
            QStringList{begin, "FAILED: No data downloaded for patch file, " + root + "/patches/P1.tar",
                        "log: Downloaded P1.tar", install, installed} +
                end,
            {"P1 N"});
        row("archive tool fails", "no archive tool",
            QStringList{begin, "log: Downloaded P1.tar", install,
                        "FAILED: System command '" + root +
                            "/bin/bsdtar' failed:\n"
                            "  execvp: No such file or directory",
                        installed} +
                end,
            {"P1 N"});
        row("page script fails", "page script fails",
            {begin, "log: Downloaded P1.tar", install, unpack, installed, "log: \nUpdate applied_patches.html ...",
             "FAILED: no page today\n", "log: \nYou may restart systems now", "status"},
            {"P1 Y"});
    }

    void failureIsShownAndTheRunGoesOn()
    {
        QFETCH(QString, sabotage);
        QFETCH(QStringList, expected);
        LocalSource source(pageOf({"P1"}));
        if (sabotage != "no archive") {
            source.withFile("P1.tar", sabotage == "empty archive" ? QByteArray() : markArchive(*installation, "P1"));
        }
        open(source.url());
        if (sabotage == "no patches") {
            installation->without("patches");
        } else if (sabotage == "target is a directory") {
            QVERIFY(QDir().mkdir(installation->path("patches/P1.tar")));
        } else if (sabotage == "no archive tool") {
            installation->without("bin/bsdtar");
        } else if (sabotage == "page script fails") {
            installation->withFile("bin/ozna_installed_patches", "die \"no page today\\n\";\n");
        }
        const QStringList failures = expected.filter("FAILED: ");
        for (int i = 0; i < failures.count(); ++i) {
            dialogs->answer(QMessageBox::Ok);
        }
        apply();
        expected.replaceInStrings("%1", source.url() + "P1.tar").replaceInStrings("%2", source.path() + "/P1.tar");
        QCOMPARE(recorder->lines, expected);
        QTEST(marks(), "shown");
        QCOMPARE(dialogs->dialogs().count(), failures.count());
        for (const DialogAnswerer::Dialog& dialog : dialogs->dialogs()) {
            QCOMPARE(dialog.text, QString("Tavrin Update Warning"));
            QVERIFY2(expected.contains("FAILED: " + dialog.details), qPrintable(dialog.details));
        }
    }

    void redirectedDownloadIsShown()
    {
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(pageOf({"P1", "P2"}).html()));
        server.answer("/P1.tar", FakePatchServer::Answer::redirect(302, "/elsewhere"));
        server.answer("/P2.tar", FakePatchServer::Answer::body(markArchive(*installation, "P2")).after("/P1.tar"));
        open(server.url());
        dialogs->answer(QMessageBox::Ok);
        apply();
        const QStringList expected{
            "log: Download patch files ...",
            "FAILED: Download request was redirected.\n",
            "log: Downloaded P2.tar",
            "log: \nApply patches to Tavrin installation ...\n",
            "log:  ** installed P1.tar\n",
            unpacked(*installation, "P2"),
            "log:  ** installed P2.tar\n",
            "log: \nUpdate applied_patches.html ...",
            "log: applied_patches.html updated",
            "log: \nYou may restart systems now",
            "status",
        };
        QCOMPARE(recorder->lines, expected);
        QCOMPARE(marks(), QStringList({"P1 N", "P2 Y"}));
        QVERIFY(!server.requestedPaths().contains("/elsewhere"));
        QCOMPARE(dialogs->dialogs().first().details, QString("Download request was redirected.\n"));
    }

    void listFailureGoesToTheLog()
    {
        QCOMPARE(initialize(*logic, *installation, "file:///nowhere/"), QString());
        window = std::make_unique<TavrinUpdateMainWindow>(*logic);
        logic->requestUpdatesList();
        QTRY_COMPARE(recorder->lines.count(), 1);
        QCOMPARE(window->findChild<QTextEdit*>()->toPlainText(),
                 QString("Failed to read patches from\nfile:///nowhere/index.html\n"
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
        server.answer("/", FakePatchServer::Answer::status(status, page).header("Location", "/elsewhere"));
        QCOMPARE(initialize(*logic, *installation, server.url()), QString());
        window = std::make_unique<TavrinUpdateMainWindow>(*logic);
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
        server.answer("/", FakePatchServer::Answer::body(pageOf({"P1"}).html()));
        open(server.url());
        QVERIFY(!window->findChild<QPushButton*>("applyButton")->isEnabled());
        QVERIFY(QMetaObject::invokeMethod(window->centralWidget(), "on_applyButton_clicked"));
        QCoreApplication::processEvents();
        QCOMPARE(recorder->lines, QStringList{"log: Download patch files ..."});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
    }

private:
    void setUp() override
    {
        WindowTest::setUp();
        systems = std::make_unique<OwnRunningSystems>();
        installation = std::make_unique<FakeInstallation>();
        installation->withTools();
        logic = std::make_unique<Logic>("tavrin_update");
        recorder = std::make_unique<Recorder>(*logic);
    }

    void tearDown() override
    {
        window.reset();
        recorder.reset();
        logic.reset();
        installation.reset();
        systems.reset();
    }

    void open(const QString& url)
    {
        QCOMPARE(initialize(*logic, *installation, url), QString());
        window = std::make_unique<TavrinUpdateMainWindow>(*logic);
        window->show();
        QVERIFY(readList(*logic));
    }

    void apply()
    {
        QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
        auto* button = window->findChild<QPushButton*>("applyButton");
        QVERIFY(button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(finished.count() == 1 || finished.wait(20000));
    }

    QStringList marks() const
    {
        const auto* tree = window->findChild<QTreeWidget*>();
        QStringList lines;
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            lines << tree->topLevelItem(i)->text(0) + ' ' + tree->topLevelItem(i)->text(1);
        }
        return lines;
    }
    std::unique_ptr<OwnRunningSystems> systems;
    std::unique_ptr<FakeInstallation> installation;
    std::unique_ptr<Logic> logic;
    std::unique_ptr<TavrinUpdateMainWindow> window;
    std::unique_ptr<Recorder> recorder;
};

TAVRIN_GUI_TEST_MAIN(TstApply)
#include "tst_apply.moc"
