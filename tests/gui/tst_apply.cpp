// Patches applied from the window, whole runs: the log, the marks, the message boxes and what is on the disk
// afterwards. In the window a failure does not end a run; each is shown and the run goes on.
#include "dialog_answerer.h"
#include "fake_patch_server.h"
#include "message_guard.h"
#include "tavrin_update_mainwindow.h"
#include "test_main.h"
#include "window_fixture.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
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

class TstApply : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void missingPatchesAreApplied_data();
    void missingPatchesAreApplied();
    void failureIsShownAndTheRunGoesOn_data();
    void failureIsShownAndTheRunGoesOn();
    void redirectedDownloadIsShown();
    void listFailureGoesToTheLog();
    void listFailureIsShown_data();
    void listFailureIsShown();
    void nothingMissingDownloadsNothing();

private:
    void open(const QString& url);
    void apply();
    QStringList marks() const;

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<DialogAnswerer> dialogs;
    std::unique_ptr<RunningSystems> systems;
    std::unique_ptr<FakeInstallation> installation;
    std::unique_ptr<Logic> logic;
    std::unique_ptr<TavrinUpdateMainWindow> window;
    std::unique_ptr<Recorder> recorder;
};

void TstApply::initTestCase()
{
    QCOMPARE(wrongLibraryComplaint(), QString());
}

void TstApply::init()
{
    guard = std::make_unique<MessageGuard>();
    dialogs = std::make_unique<DialogAnswerer>();
    systems = std::make_unique<RunningSystems>();
    installation = std::make_unique<FakeInstallation>();
    installation->withTools();
    logic = std::make_unique<Logic>("tavrin_update");
    recorder = std::make_unique<Recorder>(*logic);
}

void TstApply::cleanup()
{
    window.reset();
    recorder.reset();
    logic.reset();
    installation.reset();
    systems.reset();
    const QString complaint = dialogs->complaint() + guard->complaint();
    dialogs.reset();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstApply::open(const QString& url)
{
    QCOMPARE(initialize(*logic, *installation, url), QString());
    window = std::make_unique<TavrinUpdateMainWindow>(*logic);
    window->show();
    QVERIFY(readList(*logic));
}

void TstApply::apply()
{
    QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
    auto* button = window->findChild<QPushButton*>("applyButton");
    QVERIFY(button->isEnabled());
    QTest::mouseClick(button, Qt::LeftButton);
    QVERIFY(finished.count() == 1 || finished.wait(20000));
}

QStringList TstApply::marks() const
{
    const auto* tree = window->findChild<QTreeWidget*>();
    QStringList lines;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        lines << tree->topLevelItem(i)->text(0) + ' ' + tree->topLevelItem(i)->text(1);
    }
    return lines;
}

void TstApply::missingPatchesAreApplied_data()
{
    QTest::addColumn<bool>("overHttp");
    QTest::newRow("from a local source") << false;
    QTest::newRow("over http") << true;
}

void TstApply::missingPatchesAreApplied()
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
    QCOMPARE(html.readAll().count("<tr>"), 3);
    QStringList logged;
    for (const QString& line : expected.mid(0, expected.count() - 1)) {
        logged << line.mid(5);
    }
    QCOMPARE(window->findChild<QTextEdit*>()->toPlainText(), logged.join('\n'));
    if (overHttp) {
        QCOMPARE(server.requestedPaths(), QList<QByteArray>({"/", "/P1.tar", "/P3.tar"}));
    }
}

void TstApply::failureIsShownAndTheRunGoesOn_data()
{
    QTest::addColumn<QString>("sabotage");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QStringList>("shown");
    const QString root = "/opt/tavrin/5.9";
    const QString begin = "log: Download patch files ...";
    const QString install = "log: \nApply patches to Tavrin installation ...\n";
    const QString unpack = "log: x " + root + "/patched/P1\n";
    const QString installed = "log:  ** installed P1.tar\n";
    const QStringList end{"log: \nUpdate applied_patches.html ...", "log: applied_patches.html updated",
                          "log: \nYou may restart systems now", "status"};
    QTest::newRow("nothing") << "" << QStringList{begin, "log: Downloaded P1.tar", install, unpack, installed} + end
                             << QStringList{"P1 Y"};
    QTest::newRow("archive not at the source")
        << "no archive"
        << QStringList{begin, "FAILED: Download of %1 failed: Error opening %2: No such file or directory\n", install,
                       installed} +
               end
        << QStringList{"P1 N"};
    QTest::newRow("no directory for downloads")
        << "no patches"
        << QStringList{begin,
                       "FAILED: Failed to access patch download directory, " + root + "/patches.",
                       "log: Downloaded P1.tar",
                       install,
                       unpack,
                       installed} +
               end
        << QStringList{"P1 Y"};
    QTest::newRow("target cannot be opened")
        << "target is a directory"
        << QStringList{begin, "FAILED: Failed to open local patch file, " + root + "/patches/P1.tar"} +
               QStringList{"log: Downloaded P1.tar", install, installed} + end
        << QStringList{"P1 N"};
    QTest::newRow("empty archive") << "empty archive"
                                   << QStringList{begin,
                                                  "FAILED: No data downloaded for patch file, " + root +
                                                      "/patches/P1.tar",
                                                  "log: Downloaded P1.tar", install, installed} +
                                          end
                                   << QStringList{"P1 N"};
    QTest::newRow("archive tool fails") << "no archive tool"
                                        << QStringList{begin, "log: Downloaded P1.tar", install,
                                                       "FAILED: System command '" + root +
                                                           "/bin/bsdtar' failed:\n"
                                                           "  execvp: No such file or directory",
                                                       installed} +
                                               end
                                        << QStringList{"P1 N"};
    QTest::newRow("page script fails") << "page script fails"
                                       << QStringList{begin,
                                                      "log: Downloaded P1.tar",
                                                      install,
                                                      unpack,
                                                      installed,
                                                      "log: \nUpdate applied_patches.html ...",
                                                      "FAILED: no page today\n",
                                                      "log: \nYou may restart systems now",
                                                      "status"}
                                       << QStringList{"P1 Y"};
}

void TstApply::failureIsShownAndTheRunGoesOn()
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

void TstApply::redirectedDownloadIsShown()
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

void TstApply::listFailureGoesToTheLog()
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

void TstApply::listFailureIsShown_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QString>("message");
    QTest::newRow("redirect") << 302 << QByteArray() << "Request was redirected.\n";
    QTest::newRow("no marker") << 200 << QByteArray("<html/>") << "Failed to find list of patches in page source at %1";
}

void TstApply::listFailureIsShown()
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

void TstApply::nothingMissingDownloadsNothing()
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

TAVRIN_GUI_TEST_MAIN(TstApply)
#include "tst_apply.moc"
