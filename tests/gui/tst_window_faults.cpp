// The window against everything that a server can do: a page that cannot be fetched is in the progress log, any other
// failure in a message box; after a failed download the run continues; and a server that keeps silent leaves the window
// usable, so that another address can be given.
#include "at_rest.h"
#include "download_window.h"
#include "fault_answers.h"
#include "helper_run.h"
#include "long_wait.h"
#include "window_test.h"

#include <QRegularExpression>
#include <QTestEventLoop>
#include <QXmlStreamReader>

using Answer = FakePatchServer::Answer;
using Kind = FaultOutcome::Kind;

namespace {

const QByteArray PATH = "/P1.tar";

QByteArray wholePage()
{
    return pageOf(QStringList{"P1"}).html();
}

// The mark comes last; half of the archive is half of the other file.
QByteArray wholeArchive()
{
    const int endOfArchive = 1024;
    return archiveOf("/opt/tavrin/5.9/lib/one.txt", QByteArray("some text\n").repeated(300)).chopped(endOfArchive) +
           archiveOf("/opt/tavrin/5.9/patched/P1", {});
}

QByteArray lines(const QStringList& list)
{
    return list.join('\n').toUtf8() + '\n';
}

// The message about a page that cannot be read to its end.
QString markupFailure(const QByteArray& page, const QString& url)
{
    QXmlStreamReader reader(page);
    bool hasList = false;
    while (!reader.atEnd()) {
        reader.readNext();
        hasList = hasList || (reader.isComment() && reader.text().contains("new patch"));
    }
    const QString noList = "Failed to find list of patches in page source at " + url + ":\n";
    return hasList ? reader.errorString() : noList + reader.errorString() + '\n';
}

// What the window shows after a request for the page with this outcome: signals, log, patches.
QByteArray pageResultOf(const FaultOutcome& outcome, const QString& url)
{
    switch (outcome.kind) {
    case Kind::Failure: {
        const QString text = unreadList(url, QString::fromUtf8(outcome.text).replace("%1", url) + '\n');
        return lines({text, QString(text).remove(QRegularExpression("^log:"))});
    }
    case Kind::Redirect:
        return lines({"fail:Request was redirected.\n", {}});
    case Kind::Waiting:
        return lines({QString()});
    default:
        return outcome.text == wholePage() ? lines({"ready", {}, "P1 N"})
                                           : lines({"fail:" + markupFailure(outcome.text, url), {}});
    }
}

// What the installation signals and leaves after a download with this outcome.
QByteArray archiveResultOf(const FaultOutcome& outcome, const QString& url)
{
    FakeInstallation installation;
    installation.withTools();
    const QString stored = installation.path("patches/P1.tar");
    QStringList events{START};
    QStringList unpacking;
    switch (outcome.kind) {
    case Kind::Failure:
        events << "fail:Download of " + url + " failed: " + QString::fromUtf8(outcome.text).replace("%1", url) + '\n';
        break;
    case Kind::Redirect:
        events << "fail:Download request was redirected.\n";
        break;
    case Kind::Waiting:
        return lines(QStringList{START, "P1 N"} + installation.tree());
    default:
        installation.withFile("patches/P1.tar", outcome.text);
        if (outcome.text.isEmpty()) {
            events << "fail:No data downloaded for patch file, " + stored;
        }
        events << downloaded("P1.tar");
        const HelperRun run = runHelper(installation.path("bin/bsdtar"), {"-xvPf", stored});
        if (!run.errors.isEmpty()) {
            unpacking << (run.status == 0 ? "log:" : "fail:") + QString::fromUtf8(run.errors);
        }
    }
    events << INSTALL << unpacking << installed("P1.tar") << FINISHED;
    const QStringList marks = QDir(installation.path("patched")).entryList(QDir::Files);
    installation.withFile("applied_patches.html", appliedPage(marks));
    return lines(events + QStringList{marks.isEmpty() ? "P1 N" : "P1 Y"} + installation.tree());
}

} // namespace

class TstWindowFaults : public WindowTest
{
    Q_OBJECT

private slots:
    void pageIsShownOrReported_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : endingFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    void pageIsShownOrReported()
    {
        QFETCH(Fault, fault);
        FakePatchServer server;
        server.answer("/", fault.answer);
        initialize(server.url());
        openMainWindow();
        QTestEventLoop events;
        for (const char* signal :
             {SIGNAL(patchListReady()), SIGNAL(processFailed(QString)), SIGNAL(appendProgress(QString))}) {
            connect(logic.get(), signal, &events, SLOT(exitLoop()));
        }
        logic->requestUpdatesList();
        events.enterLoop(20);
        comparePageResult(fault, server);
    }

    void brokenEndOfAPageIsReportedOrWaitedFor_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : uncertainFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    // Qt can overlook that the connection has ended, and nothing tells the program.
    void brokenEndOfAPageIsReportedOrWaitedFor()
    {
        QFETCH(Fault, fault);
        FakePatchServer server;
        server.answer("/", fault.answer);
        initialize(server.url());
        openMainWindow();
        logic->requestUpdatesList();
        QTRY_VERIFY_WITH_TIMEOUT(server.requestedPaths().contains("/"), LONG_WAIT);
        QTRY_VERIFY_WITH_TIMEOUT(!recorder->events.isEmpty() || othersAreAtRestDuringAProgram(), LONG_WAIT);
        comparePageResult(fault, server);
    }

    void downloadIsInstalledOrReported_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : endingFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    void downloadIsInstalledOrReported()
    {
        QFETCH(Fault, fault);
        FakePatchServer server;
        const QList<QByteArray> possible = possibleInstallations(fault, server);
        openListFrom(server);
        server.answer(PATH, fault.answer);
        QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QVERIFY(finished.count() == 1 || finished.wait(20000));
        compareInstallation(fault, server, possible);
    }

    void brokenEndOfADownloadIsInstalledReportedOrWaitedFor_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : uncertainFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    void brokenEndOfADownloadIsInstalledReportedOrWaitedFor()
    {
        QFETCH(Fault, fault);
        FakePatchServer server;
        const QList<QByteArray> possible = possibleInstallations(fault, server);
        openListFrom(server);
        server.answer(PATH, fault.answer);
        QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(server.requestedPaths().contains(PATH), LONG_WAIT);
        QTRY_VERIFY_WITH_TIMEOUT(finished.count() == 1 || othersAreAtRestDuringAProgram(), LONG_WAIT);
        compareInstallation(fault, server, possible);
    }

    void silentServerIsLeftForAnother_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : silentFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    void silentServerIsLeftForAnother()
    {
        QFETCH(Fault, fault);
        FakePatchServer server;
        server.answer("/", fault.answer);
        server.answer("/other/", Answer::body(pageOf({"P2"}).html()));
        initialize(server.url());
        openMainWindow();
        logic->requestUpdatesList();
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
        url->setText(server.url("/other/"));
        QTest::keyClick(url, Qt::Key_Return);
        QTRY_COMPARE(recorder->events, QStringList{"ready"});
        QCOMPARE(marks(), QStringList{"P2 N"});
        QCOMPARE(progress->toPlainText(), QString());
        QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/", "/other/"}));
    }

    void silentDownloadLeavesTheWindowUsable_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : silentFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    void silentDownloadLeavesTheWindowUsable()
    {
        QFETCH(Fault, fault);
        const QStringList before = installation->tree();
        FakePatchServer server;
        openListFrom(server);
        server.answer(PATH, fault.answer);
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QTRY_COMPARE(server.requestedPaths(), (QList<QByteArray>{"/", PATH}));
        QTest::keyClick(url, Qt::Key_Return);
        QTRY_COMPARE(recorder->events, (QStringList{START, "ready"}));
        QCOMPARE(marks(), QStringList{"P1 N"});
        QVERIFY(doneButton->isEnabled());
        QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/", PATH, "/"}));
        QCOMPARE(installation->tree(), before);
    }

private:
    // Every message box is answered; compareDialogs() tells whether those were the right ones.
    void openMainWindow()
    {
        connect(logic.get(), &Logic::patchListReady, this, [this] { recorder->events << "ready"; });
        connect(logic.get(), &Logic::processFailed, this, [this] { dialogs->answer(QMessageBox::Ok); });
        showMainWindow();
    }

    void openListFrom(FakePatchServer& server)
    {
        server.answer("/", Answer::body(wholePage()));
        initialize(server.url());
        openMainWindow();
        readList();
        recorder->events.clear();
    }

    // Whether the threads of the network do nothing while a program runs, and then still nothing has come for this one.
    static bool othersAreAtRestDuringAProgram()
    {
        const qint64 turns = turnsAtRest(QCoreApplication::applicationPid());
        requireHelper("true", {});
        QCoreApplication::processEvents();
        return turns > 0 && turnsAtRest(QCoreApplication::applicationPid()) == turns;
    }

    // The window shows one of the results that the fault can lead to, and the server was asked accordingly.
    void comparePageResult(const Fault& fault, const FakePatchServer& server) const
    {
        QList<QByteArray> possible;
        for (const FaultOutcome& outcome : fault.outcomes) {
            possible << pageResultOf(outcome, server.url());
        }
        const QByteArray result = lines(recorder->events + QStringList{progress->toPlainText()} + marks());
        QVERIFY2(possible.contains(result), result + "is none of:\n" + possible.join("or\n"));
        compareDialogs();
        const QList<QByteArray> paths = server.requestedPaths();
        QVERIFY2(fault.explains(paths, "/"), paths.join('\n'));
    }

    // What an installation can lead to; the one to compare is made again after it, because only one can be there.
    QList<QByteArray> possibleInstallations(const Fault& fault, const FakePatchServer& server)
    {
        installation.reset();
        QList<QByteArray> possible;
        for (const FaultOutcome& outcome : fault.outcomes) {
            possible << archiveResultOf(outcome, server.url(PATH));
        }
        installation = std::make_unique<FakeInstallation>();
        installation->withTools();
        return possible;
    }

    void compareInstallation(const Fault& fault, const FakePatchServer& server, const QList<QByteArray>& possible) const
    {
        const QByteArray result = lines(recorder->events + marks() + installation->tree());
        QVERIFY2(possible.contains(result), result + "is none of:\n" + possible.join("or\n"));
        QCOMPARE(progress->toPlainText(), loggedText());
        compareDialogs();
        QList<QByteArray> paths = server.requestedPaths();
        QCOMPARE(paths.takeFirst(), QByteArray("/"));
        QVERIFY2(fault.explains(paths, PATH), paths.join('\n'));
    }

    void compareDialogs() const
    {
        QStringList shown;
        for (const DialogAnswerer::Dialog& dialog : dialogs->dialogs()) {
            shown << dialog.text + '|' + dialog.details;
        }
        QCOMPARE(shown, recorder->events.filter(QRegularExpression("^fail:"))
                            .replaceInStrings(QRegularExpression("^fail:"), "Tavrin Update Warning|"));
    }

    QString loggedText() const
    {
        return recorder->events.filter(QRegularExpression("^log:"))
            .replaceInStrings(QRegularExpression("^log:"), "")
            .join('\n');
    }
};

TAVRIN_GUI_TEST_MAIN(TstWindowFaults)
#include "tst_window_faults.moc"
