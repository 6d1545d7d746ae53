// Runs on a patch source of nginx over https, with certificates that the test makes. The program trusts whom the
// machine trusts, so the test's own authority is made a trusted one by a mount over the machine's folder of them, which
// only the processes of this test see.
#include "helper_run.h"
#include "installable_release.h"
#include "real_server.h"
#include "sample_release.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

namespace {

const QString HOST = QStringLiteral("patches.test");
const QString URL = QStringLiteral("https://patches.test/5.9/");

/** A server's key and certificate, the authority that signed it, and nginx's settings to use them. */
class Certificate
{
public:
    Certificate(const QString& host, int days)
    {
        make({"req", "-x509", "-days", "2", "-subj", "/CN=Authority of the test"}, "authority.key", "authority.pem");
        make({"req", "-subj", "/CN=" + host, "-addext", "subjectAltName=DNS:" + host}, "server.key", "server.request");
        requireHelper("openssl", {"x509", "-req", "-in", path("server.request"), "-CA", path("authority.pem"), "-CAkey",
                                  path("authority.key"), "-copy_extensions", "copy", "-days", QString::number(days),
                                  "-out", path("server.pem")});
        // Authorities are looked for by a hash of their names, such as 1a2b3c4d.0.
        QDir(folder.path()).mkdir("authorities");
        requireHelper("cp", {path("authority.pem"), path("authorities")});
        requireHelper("openssl", {"rehash", path("authorities")});
        QDir(folder.path()).mkdir("settings");
        writeTestFile(path("settings/https.conf"), "server {\n"
                                                   "    listen 443 ssl;\n"
                                                   "    root /var/www/html;\n"
                                                   "    ssl_certificate " +
                                                       path("server.pem").toUtf8() +
                                                       ";\n"
                                                       "    ssl_certificate_key " +
                                                       path("server.key").toUtf8() + ";\n}\n");
        settings = std::make_unique<BindMount>(path("settings"), "/etc/nginx/conf.d");
    }

    /** Has the machine trust the authority, and no other. */
    void trust()
    {
        trusted = std::make_unique<BindMount>(path("authorities"), "/etc/ssl/certs");
    }

private:
    QString path(const QString& name) const
    {
        return folder.filePath(name);
    }

    void make(const QStringList& request, const QString& key, const QString& file) const
    {
        requireHelper("openssl", request + QStringList{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                                                       "-nodes", "-keyout", path(key), "-out", path(file)});
    }

    QTemporaryDir folder;
    std::unique_ptr<BindMount> settings;
    std::unique_ptr<BindMount> trusted;
};

} // namespace

class TstHttps : public Test
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString obstacle = RealServer::obstacle();
        if (!obstacle.isEmpty()) {
            QSKIP(qPrintable(obstacle));
        }
    }

    void patchesAreInstalledFromATrustedServer()
    {
        SampleRelease sample;
        const QStringList expected = sample.expectedListing();
        ServedFolder folder;
        folder.addCopy(sample.sourceFile(""), "5.9");
        Certificate certificate(HOST, 1);
        certificate.trust();
        RealServer web("nginx");
        compareRun(sample.runOn(URL), 0, sample.installingRun());
        QByteArray requests;
        for (const QByteArray& path : sample.paths()) {
            requests += path + " 200\n";
        }
        QCOMPARE(web.requests(), requests);
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    }

    void certificateThatProvesNothingEndsTheRun_data()
    {
        const Rows<QString, int, bool> row("host", "days", "trusted");
        row("of an unknown authority", HOST, 1, false);
        row("expired", HOST, -1, true);
        row("of another host", "other.test", 1, true);
    }

    // Qt has one message for all of them.
    void certificateThatProvesNothingEndsTheRun()
    {
        QFETCH(QString, host);
        QFETCH(int, days);
        QFETCH(bool, trusted);
        InstallableRelease release;
        const QStringList before = release.installation.tree();
        ServedFolder folder;
        folder.addCopy(release.source.path(), "5.9");
        Certificate certificate(host, days);
        if (trusted) {
            certificate.trust();
        }
        RealServer web("nginx");
        compareRun(release.program.run({"-t", URL}), 1, QByteArray(), failedToRead(URL, "SSL handshake failed"));
        QCOMPARE(web.requests(), QByteArray());
        QCOMPARE(release.installation.tree(), before);
    }

    // The variable for such addresses is another one.
    void patchIsInstalledThroughAProxy()
    {
        SampleRelease sample({"P1", "P2", "P4", "P5", "P6"});
        ServedFolder folder;
        folder.addCopy(sample.sourceFile(""), "5.9");
        Certificate certificate(HOST, 1);
        certificate.trust();
        RealServer web("nginx");
        RealServer proxy("tinyproxy");
        sample.program.set("https_proxy", "http://127.0.0.1:8888");
        compareRun(sample.program.run({"-t", URL}), 0, sample.installingRun());
        QCOMPARE(proxy.requests(), QByteArray("CONNECT patches.test:443\n").repeated(2));
        QCOMPARE(web.requests(), QByteArray("/5.9/ 200\n/5.9/P3.tar.bz2 200\n"));
    }
};

TAVRIN_TEST_MAIN_WITH(QCoreApplication, TstHttps, (TestPlace{HOST, {}}))
#include "tst_https.moc"
