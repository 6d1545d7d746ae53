// Scheduled runs that mail their report: once with everything real, from perl and the installation's rtmail to a
// sendmail program that delivers into a file, and otherwise with a recorder for perl, which shows when a mail is sent
// and what a mailer that fails or talks does to the run.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QHostInfo>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

const QString ADDRESS = QStringLiteral("admin@host.test");

// The body of the mail for patches that are missing.
QByteArray bodyOf(const QStringList& missing)
{
    QByteArray body = headerLine("5.9") + "On " + QHostInfo::localHostName().toUtf8() +
                      ", the Tavrin 5.9 distribution\ndoes not have the following patches installed\n\n";
    for (const QString& name : missing) {
        body += "Not Installed: " + name.toLatin1() + '\n';
    }
    return body;
}

PatchPage threePatches()
{
    return PatchPage()
        .entry("P1", "1 May", "The first: Not Installed")
        .entry("P2", "2 May", "The second")
        .entry("P3", "3 May", "The third");
}

} // namespace

class TstMailReport : public Test
{
    Q_OBJECT

private slots:
    void mailIsDelivered()
    {
        const QString sendmail = QStandardPaths::findExecutable("esmtp");
        if (sendmail.isEmpty()) {
            QSKIP("there is no esmtp on this machine to send a mail through");
        }
        QVERIFY(QFile::copy(projectSourceDir() + "/demo/rtmail", installation->path("rtmail")));
        const QStringList before = installation->tree();
        Program program;
        program.tavrin(installation->path()).workingDirectory(installation->path()).set("SENDMAIL", sendmail);
        // Whoever has an address without a host lives here and gets the mail without a network.
        const QString settings = program.home() + "/.esmtprc";
        writeTestFile(settings, "mda \"/bin/cat >'" + program.home().toUtf8() + "/mail for %T'\"\n");
        QVERIFY(QFile::setPermissions(settings, QFile::ReadOwner | QFile::WriteOwner));

        compareRun(program.run({"-t", "-m", "admin", source->url()}), 0, QByteArray());
        QCOMPARE(installation->tree(), before);
        const QByteArray mail = contentOf(program.home() + "/mail for admin");
        const int end = mail.indexOf("\n\n");
        QCOMPARE(mail.mid(end + 2), bodyOf({"P1", "P3"}));
        QStringList headers = QString::fromUtf8(mail.left(end)).split('\n');
        // Sender, date and identity are the mail script's own.
        headers = headers.filter(QRegularExpression("^(?!From:|Date:|Message-ID:)"));
        QCOMPARE(headers,
                 (QStringList{"To: admin", "Subject: '2 Tavrin patches available' ", "MIME-Version: 1.0",
                              "Content-Type: text/plain; charset=us-ascii", "Content-Transfer-Encoding: 8bit"}));
    }

    void mailerGetsTheReport_data()
    {
        const Rows<QStringList, QStringList, QStringList, QByteArray> row("options", "patched", "missing", "arguments");
        row("one missing", {}, {"P1"}, {"P3"}, "rtmail|-s|'1 Tavrin patches available' |admin@host.test");
        row("two missing", {}, {}, {"P1", "P3"}, "rtmail|-s|'2 Tavrin patches available' |admin@host.test");
        row("unapplied only", {"-l"}, {}, {"P1", "P3"}, "rtmail|-s|'2 Tavrin patches available' |admin@host.test");
        row("verbose", {"-v"}, {}, {"P1", "P3"}, "rtmail|-v|-s|'2 Tavrin patches available' |admin@host.test");
    }

    void mailerGetsTheReport()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, patched);
        QFETCH(QStringList, missing);
        QFETCH(QByteArray, arguments);
        for (const QString& name : patched) {
            installation->withPatched(name);
        }
        const QStringList before = installation->tree();
        FakePatchServer server;
        server.answer("/5.9/", FakePatchServer::Answer::body(threePatches().html()));
        FakeTools tools;
        recordPerl(tools);
        Program program;
        const ProgramRun run =
            prepare(program, tools).run(QStringList{"-t", "-m", ADDRESS} + options + QStringList{server.url("/5.9/")});
        const QByteArray echo = options.contains("-v")
                                    ? "Executing system command: perl " + QByteArray(arguments).replace('|', ' ') + '\n'
                                    : QByteArray();
        compareRun(run, 0, echo);
        const QList<FakeToolCall> calls = tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().arguments.join('|'), arguments);
        QCOMPARE(calls.first().input, bodyOf(missing));
        QCOMPARE(calls.first().workingDirectory, program.home());
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(installation->tree(), before);
    }

    void nothingIsSentWhenThereIsNothingToTell_data()
    {
        const Rows<QStringList, QStringList> row("options", "patched");
        row("everything is applied", {}, {"P1", "P3"});
        row("everything is applied, verbose", {"-v"}, {"P1", "P3"});
        row("compact list of missing ones", {"-L"}, {});
        row("compact list of applied ones", {"-L"}, {"P1", "P3"});
    }

    void nothingIsSentWhenThereIsNothingToTell()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, patched);
        for (const QString& name : patched) {
            installation->withPatched(name);
        }
        FakeTools tools;
        recordPerl(tools);
        Program program;
        const QStringList arguments = QStringList{"-t", "-m", ADDRESS} + options + QStringList{source->url()};
        compareRun(prepare(program, tools).run(arguments), 0, QByteArray());
        QVERIFY(tools.calls().isEmpty());
    }

    void dryRunMailsAndShowsItsSteps()
    {
        FakeTools tools;
        recordPerl(tools);
        Program program;
        compareRun(prepare(program, tools).run({"-t", "-n", "-m", ADDRESS, source->url()}), 0, NO_CONFLICT + DRY_STEPS);
        QCOMPARE(tools.calls().size(), 1);
        QCOMPARE(tools.calls().first().input, bodyOf({"P1", "P3"}));
    }

    void installingOptionsInstallNothing()
    {
        FakeTools tools;
        recordPerl(tools);
        const QStringList before = installation->tree();
        Program program;
        compareRun(prepare(program, tools).input("y\n").run({"-t", "-Q", "-m", ADDRESS, source->url()}), 0,
                   QByteArray());
        QCOMPARE(tools.calls().size(), 1);
        QCOMPARE(installation->tree(), before);
    }

    void talkingMailerFailsTheRun_data()
    {
        const Rows<QByteArray, QByteArray, QByteArray> row("output", "errors", "message");
        row("standard error", {}, "queued only\n", "queued only\n\n");
        row("standard output", "sent", {}, "sent\n");
        row("both", "sent\n", "queued only\n", "queued only\n\n");
    }

    void talkingMailerFailsTheRun()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        QFETCH(QByteArray, message);
        FakeTools tools;
        FakeTool talking;
        talking.output = output;
        talking.errors = errors;
        recordPerl(tools, talking);
        Program program;
        compareRun(prepare(program, tools).run({"-t", "-m", ADDRESS, source->url()}), 1, QByteArray(), message);
        QCOMPARE(tools.calls().size(), 1);
    }

    void failingMailerIsSilence_data()
    {
        const Rows<int, QByteArray> row("status", "script");
        row("status", 75, ":");
        row("killed", 0, "kill -KILL $$");
    }

    void failingMailerIsSilence()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, script);
        FakeTools tools;
        FakeTool failing;
        failing.status = status;
        failing.script = "echo said; echo no way to send >&2; " + script;
        recordPerl(tools, failing);
        Program program;
        compareRun(prepare(program, tools).run({"-t", "-m", ADDRESS, source->url()}), 0, QByteArray());
        QCOMPARE(tools.calls().size(), 1);
    }

    void missingMailScriptIsSilence()
    {
        Program program; // with the real perl, in a directory without the script
        compareRun(program.tavrin(installation->path()).run({"-t", "-m", ADDRESS, source->url()}), 0, QByteArray());
    }

    void missingPerlIsSilence()
    {
        const FakeTools tools;
        Program program;
        compareRun(prepare(program, tools).run({"-t", "-m", ADDRESS, source->url()}), 0, QByteArray());
    }

private:
    void setUp() override
    {
        installation.reset(new FakeInstallation);
        installation->withPatched("P2");
        source.reset(new LocalSource(threePatches()));
    }

    void tearDown() override
    {
        source.reset();
        installation.reset();
    }

    Program& prepare(Program& program, const FakeTools& tools) const
    {
        return program.tavrin(installation->path()).path(tools.pathDirectory());
    }

    void recordPerl(FakeTools& tools, FakeTool tool = FakeTool()) const
    {
        tool.readsInput = true;
        tools.add("perl", tool);
    }
    QScopedPointer<FakeInstallation> installation;
    QScopedPointer<LocalSource> source;
};

TAVRIN_TEST_MAIN(TstMailReport)
#include "tst_mail_report.moc"
