// Scheduled runs that mail their report: one with the real perl, the installation's rtmail and a sendmail program that
// delivers into a file, the others with a recorder for perl: when a mail is sent, and what happens when the mailer
// fails or prints something.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QHostInfo>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

const QString ADDRESS = QStringLiteral("admin@host.test");

// The body of the mail about the missing patches.
QByteArray bodyOf(const QStringList& missing)
{
    QByteArray body = headerLine("5.9") + "On " + QHostInfo::localHostName().toUtf8() +
                      ", the Tavrin 5.9 distribution\ndoes not have the following patches installed\n\n";
    for (const QString& name : missing) {
        body += "Not Installed: " + name.toLatin1() + '\n';
    }
    return body;
}

const PatchPage THREE_PATCHES = PatchPage()
                                    .entry("P1", "1 May", "The first: Not Installed")
                                    .entry("P2", "2 May", "The second")
                                    .entry("P3", "3 May", "The third");

// Release 5.9 with P2 and other patches, and a recorder for perl that reads its input.
class MailingRelease : public InstallableRelease
{
public:
    explicit MailingRelease(const QStringList& patched = {}) : InstallableRelease(THREE_PATCHES)
    {
        for (const QString& name : patched + QStringList{"P2"}) {
            installation.withPatched(name);
        }
        setPerl(FakeTool());
        program.path(tools.pathDirectory());
    }

    void setPerl(FakeTool perl)
    {
        perl.readsInput = true;
        tools.add("perl", perl);
    }

    ProgramRun mail(const QStringList& options = {})
    {
        return run(QStringList{"-m", ADDRESS} + options);
    }

    FakeTools tools;
};

} // namespace

class TstMailReport : public Test
{
    Q_OBJECT

private slots:
    void mailIsDelivered()
    {
        const QString sendmail = QStandardPaths::findExecutable("esmtp");
        if (sendmail.isEmpty()) {
            QSKIP("esmtp is not installed");
        }
        InstallableRelease release(THREE_PATCHES);
        const QString directory = release.installation.path();
        release.installation.withPatched("P2");
        QVERIFY(QFile::copy(projectSourceDir() + "/demo/rtmail", directory + "/rtmail"));
        const QStringList before = release.installation.tree();
        release.program.workingDirectory(directory).set("SENDMAIL", sendmail);
        // An address without a host is a local one and gets the mail without a network.
        const QString home = release.program.home();
        writeTestFile(home + "/.esmtprc", "mda \"/bin/cat >'" + home.toUtf8() + "/mail for %T'\"\n");
        QVERIFY(QFile::setPermissions(home + "/.esmtprc", QFile::ReadOwner | QFile::WriteOwner));

        compareRun(release.run({"-m", "admin"}), 0, {});
        QCOMPARE(release.installation.tree(), before);
        const QByteArray mail = contentOf(home + "/mail for admin");
        const int end = mail.indexOf("\n\n");
        QCOMPARE(mail.mid(end + 2), bodyOf({"P1", "P3"}));
        QStringList headers = QString::fromUtf8(mail.left(end)).split('\n');
        // The other headers differ between runs.
        headers = headers.filter(QRegularExpression("^(?!From:|Date:|Message-ID:)"));
        QCOMPARE(headers,
                 (QStringList{"To: admin", "Subject: '2 Tavrin patches available' ", "MIME-Version: 1.0",
                              "Content-Type: text/plain; charset=us-ascii", "Content-Transfer-Encoding: 8bit"}));
    }

    void mailerGetsTheReport_data()
    {
        const Rows<QStringList, QStringList, QStringList, QByteArray, QByteArray> row("options", "patched", "missing",
                                                                                      "arguments", "output");
        const QByteArray two = "rtmail|-s|'2 Tavrin patches available' |admin@host.test";
        row("one missing", {}, {"P1"}, {"P3"}, "rtmail|-s|'1 Tavrin patches available' |admin@host.test", {});
        row("two missing", {}, {}, {"P1", "P3"}, two, {});
        row("unapplied only", {"-l"}, {}, {"P1", "P3"}, two, {});
        row("installing option", {"-Q"}, {}, {"P1", "P3"}, two, {});
        row("dry run, which shows its steps", {"-n"}, {}, {"P1", "P3"}, two, NO_CONFLICT + DRY_STEPS);
        row("verbose", {"-v"}, {}, {"P1", "P3"}, "rtmail|-v|-s|'2 Tavrin patches available' |admin@host.test",
            executing("perl rtmail -v -s '2 Tavrin patches available'  admin@host.test"));
    }

    void mailerGetsTheReport()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, patched);
        QFETCH(QStringList, missing);
        QFETCH(QByteArray, arguments);
        QFETCH(QByteArray, output);
        MailingRelease release(patched);
        const QStringList before = release.installation.tree();
        FakePatchServer server;
        server.answer("/5.9/", FakePatchServer::Answer::body(THREE_PATCHES.html()));
        compareRun(release.program.run(QStringList{"-t", "-m", ADDRESS} + options + QStringList{server.url("/5.9/")}),
                   0, output);
        const QList<FakeToolCall> calls = release.tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().arguments.join('|'), arguments);
        QCOMPARE(calls.first().input, bodyOf(missing));
        QCOMPARE(calls.first().workingDirectory, release.program.home());
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(release.installation.tree(), before);
    }

    // A report that is printed comes in pieces; the mailer gets a single input.
    void longReportIsMailedWhole()
    {
        QStringList names;
        for (int i = 0; i < 3000; ++i) {
            names << QString("Patch%1").arg(i);
        }
        MailingRelease release;
        const LocalSource folder(pageOf(names));
        compareRun(release.program.run({"-t", "-m", ADDRESS, folder.url()}), 0, {});
        const QList<FakeToolCall> calls = release.tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().input, bodyOf(names));
    }

    void nothingIsSentWithoutMissingPatchesInTheReport_data()
    {
        const Rows<QStringList, QStringList> row("options", "patched");
        row("everything is applied", {}, {"P1", "P3"});
        row("everything is applied, verbose", {"-v"}, {"P1", "P3"});
        row("compact list of missing ones", {"-L"}, {});
        row("compact list of applied ones", {"-L"}, {"P1", "P3"});
    }

    void nothingIsSentWithoutMissingPatchesInTheReport()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, patched);
        MailingRelease release(patched);
        compareRun(release.mail(options), 0, {});
        QVERIFY(release.tools.calls().isEmpty());
    }

    void onlyOutputOfASuccessfulMailerFailsTheRun_data()
    {
        const Rows<QByteArray, int, QByteArray> row("script", "status", "message");
        const QByteArray printing = "echo output; echo cannot send >&2; ";
        row("standard error", "echo queued only >&2", 1, "queued only\n\n");
        row("standard output", "printf sent", 1, "sent\n");
        row("both", "echo sent; echo queued only >&2", 1, "queued only\n\n");
        row("both, and a status", printing + "exit 75", 0, {});
        row("both, and killed", printing + "kill -KILL $$", 0, {});
    }

    void onlyOutputOfASuccessfulMailerFailsTheRun()
    {
        QFETCH(QByteArray, script);
        QFETCH(int, status);
        QFETCH(QByteArray, message);
        MailingRelease release;
        release.setPerl(FakeTool::running(script));
        compareRun(release.mail(), status, {}, message);
        QCOMPARE(release.tools.calls().size(), 1);
    }

    void missingMailScriptIsNotReported()
    {
        // With the real perl, in a directory without the script.
        InstallableRelease release(THREE_PATCHES);
        compareRun(release.run({"-m", ADDRESS}), 0, {});
    }

    void missingPerlIsNotReported()
    {
        MailingRelease release;
        release.tools.remove("perl");
        compareRun(release.mail(), 0, {});
    }
};

TAVRIN_TEST_MAIN(TstMailReport)
#include "tst_mail_report.moc"
