// A listing run against everything that a server can do when it is asked for the page: one message, status 1 and
// nothing changed, or the report. A server that keeps silent is waited for without any work until someone ends the
// program.
#include "expected_texts.h"
#include "fault_answers.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"

#include <QXmlStreamReader>

namespace {

const QByteArray PATH = "/5.9/";

QByteArray wholePage()
{
    return pageOf(QStringList{"P1"}).html();
}

// What a listing says about a page that it cannot read to its end.
QByteArray markupFailure(const QByteArray& page, const QString& url)
{
    QXmlStreamReader reader(page);
    bool hasList = false;
    while (!reader.atEnd()) {
        reader.readNext();
        hasList = hasList || (reader.isComment() && reader.text().contains("new patch"));
    }
    const QByteArray error = reader.errorString().toLatin1();
    const QByteArray noList = "Failed to find list of patches in page source at " + url.toLatin1() + ":\n";
    return (hasList ? error : noList + error + '\n') + EXITING;
}

ProgramRun failure(const QByteArray& message)
{
    ProgramRun run;
    run.status = 1;
    run.errors = message;
    return run;
}

// A run that waits without a word until SIGTERM ends it.
ProgramRun endedFromOutside()
{
    ProgramRun run;
    run.status = SIGTERM;
    run.crashed = true;
    return run;
}

// The listing run with this outcome of its one request.
ProgramRun runWith(const FaultOutcome& outcome, const QString& url)
{
    const QString reason = QString::fromUtf8(outcome.text).replace("%1", url);
    switch (outcome.kind) {
    case FaultOutcome::Kind::Failure:
        return failure(failedToRead(url, reason));
    case FaultOutcome::Kind::Redirect:
        return failure("Request was redirected.\n\n");
    case FaultOutcome::Kind::Waiting:
        return endedFromOutside();
    case FaultOutcome::Kind::Body:
        break;
    }
    if (outcome.text == wholePage()) {
        ProgramRun good;
        good.status = 0;
        good.output = reportOf("5.9", {{"P1", "Corrects P1."}});
        return good;
    }
    return failure(markupFailure(outcome.text, url));
}

} // namespace

class TstPageFaults : public Test
{
    Q_OBJECT

private slots:
    void answerIsReadOrReported_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : endingFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    void answerIsReadOrReported()
    {
        QFETCH(Fault, fault);
        const QStringList before = release->installation.tree();
        release->server.answer(PATH, fault.answer);
        compareWithFault(release->run({"-l"}), fault);
        QCOMPARE(release->installation.tree(), before);
    }

    void silentServerIsWaitedForAtRest_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : silentFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    // There is no time limit for a server. SIGTERM ends the wait.
    void silentServerIsWaitedForAtRest()
    {
        QFETCH(Fault, fault);
        const QStringList before = release->installation.tree();
        release->server.answer(PATH, fault.answer);
        const auto session = release->start({"-l"});
        QTRY_COMPARE_WITH_TIMEOUT(release->server.requestedPaths(), QList<QByteArray>{PATH}, LONG_WAIT);
        QTRY_VERIFY_WITH_TIMEOUT(release->isAtRestDuringAnotherRun(*session), LONG_WAIT);
        QVERIFY(session->isRunning());
        session->sendSignal(SIGTERM);
        QCOMPARE(describe(session->finish()), describe(endedFromOutside()));
        QCOMPARE(release->server.requestedPaths(), QList<QByteArray>{PATH});
        QCOMPARE(release->installation.tree(), before);
    }

    void brokenEndIsReportedOrWaitedForAtRest_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : uncertainFaults(wholePage())) {
            row(fault.name, fault);
        }
    }

    // Qt can overlook that the connection has ended, and nothing tells the program.
    void brokenEndIsReportedOrWaitedForAtRest()
    {
        QFETCH(Fault, fault);
        const QStringList before = release->installation.tree();
        release->server.answer(PATH, fault.answer);
        const auto session = release->start({"-l"});
        QTRY_VERIFY_WITH_TIMEOUT(release->server.requestedPaths().contains(PATH), LONG_WAIT);
        QTRY_VERIFY_WITH_TIMEOUT(!session->isRunning() || release->isAtRestDuringAnotherRun(*session), LONG_WAIT);
        if (session->isRunning()) {
            session->sendSignal(SIGTERM);
        }
        compareWithFault(session->finish(), fault);
        QCOMPARE(release->installation.tree(), before);
    }

    // Qt keeps what has come in memory until it is whole; there is no limit but the memory.
    void largePageIsRead()
    {
        const int megabytes = 16;
        const QByteArray filler = "<!--" + QByteArray(megabytes << 20, 'x') + "-->";
        release->server.answer(PATH, FakePatchServer::Answer::body(wholePage().replace("<body>", "<body>" + filler)));
        compareRun(release->run({"-l"}), 0, reportOf("5.9", {{"P1", "Corrects P1."}}));
        QCOMPARE(release->server.requestedPaths(), QList<QByteArray>{PATH});
    }

private:
    void setUp() override
    {
        release = std::make_unique<ServedRelease>(PatchPage());
    }

    void tearDown() override
    {
        release.reset();
    }

    // The run is one of those that the fault can lead to, and so are the requests.
    void compareWithFault(const ProgramRun& run, const Fault& fault) const
    {
        QList<QByteArray> possible;
        for (const FaultOutcome& outcome : fault.outcomes) {
            possible << describe(runWith(outcome, release->server.url(PATH)));
        }
        QVERIFY2(possible.contains(describe(run)), describe(run) + "\nis none of:\n" + possible.join("\nor\n"));
        const QList<QByteArray> paths = release->server.requestedPaths();
        QVERIFY2(fault.explains(paths, PATH), paths.join('\n'));
    }

    std::unique_ptr<ServedRelease> release;
};

TAVRIN_TEST_MAIN(TstPageFaults)
#include "tst_page_faults.moc"
