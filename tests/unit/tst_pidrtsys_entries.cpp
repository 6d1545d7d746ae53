// What the stand-in library makes of entries of /proc that real processes have only for a moment, when they end or
// start another program while they are looked at, or never. A folder with such entries covers /proc during the call.
// The other tests of the library use real processes.
#include "listed_systems.h"
#include "test_files.h"
#include "test_place.h"

#include <QDir>
#include <QTemporaryDir>

class TstPidrtsysEntries : public Test
{
    Q_OBJECT

private slots:
    void onlyWholeEntriesAreListed_data()
    {
        const QByteArray listed = "12\t5.9\troot\t\n";
        const Rows<QByteArray, QByteArray, QByteArray, QByteArray> row("name", "comm", "stat", "answer");
        row("running", "12", "rtexec\n", "12 (rtexec) S 1", listed);
        row("another program by now", "12", "rtexec\n", "12 (other) S 1", {});
        row("zombie", "12", "rtexec\n", "12 (rtexec) Z 1", {});
        row("dead", "12", "rtexec\n", "12 (rtexec) X 1", {});
        row("dead, as older kernels have it", "12", "rtexec\n", "12 (rtexec) x 1", {});
        row("empty state", "12", "rtexec\n", "", {});
        row("no state", "12", "rtexec\n", {}, {});
        row("no program's name", "12", "rtexec\n", "12 rtexec) S 1", {});
        row("endless program's name", "12", "rtexec\n", "12 (rtexec S 1", {});
        row("state cut off", "12", "rtexec\n", "12 (rtexec) ", {});
        row("name without its end", "12", "rtexec", "12 (rtexec) S 1", {});
        row("longer name", "12", "rtexecs\n", "12 (rtexec) S 1", {});
        row("zeros before the number", "0012", "rtexec\n", "12 (rtexec) S 1", {});
        row("many zeros before the number", QByteArray(70, '0') + "12", "rtexec\n", "12 (rtexec) S 1", {});
        row("number too large", "99999999999", "rtexec\n", "12 (rtexec) S 1", {});
        row("not only a number", "12a", "rtexec\n", "12 (rtexec) S 1", {});
    }

    void onlyWholeEntriesAreListed()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, comm);
        QFETCH(QByteArray, stat);
        const QTemporaryDir proc;
        const QString process = processIn(proc, name, comm);
        if (!stat.isNull()) {
            writeTestFile(process + "/stat", stat);
        }
        writeTestFile(process + "/environ", "TAVRIN=/opt/tavrin/5.9");
        QTEST(answerIn(proc), "answer");
    }

    void unreadableEntriesAreTolerated_data()
    {
        const Rows<QByteArray, QByteArray> row("folder", "answer"); // a folder can be opened, but not read
        row("environment", "environ", "12\t1.0\troot\t\n");
        row("command line", "cmdline", "12\t5.9\troot\t\n");
        row("state", "stat", {});
    }

    void unreadableEntriesAreTolerated()
    {
        QFETCH(QByteArray, folder);
        const QTemporaryDir proc;
        const QString process = processIn(proc, "12", "rtexec\n");
        QVERIFY(QDir(process).mkdir(folder));
        const QList<QPair<QByteArray, QByteArray>> files = {
            {"stat", "12 (rtexec) S 1"},
            {"environ", "TAVRIN=/opt/tavrin/5.9"},
            {"cmdline", "/opt/tavrin/1.0/bin/rtexec"},
        };
        for (const auto& [file, content] : files) {
            if (file != folder) {
                writeTestFile(process + '/' + file, content);
            }
        }
        QTEST(answerIn(proc), "answer");
    }

private:
    static QString processIn(const QTemporaryDir& proc, const QByteArray& name, const QByteArray& comm)
    {
        const QString process = proc.filePath(name);
        [&] {
            QVERIFY(QDir().mkdir(process));
        }();
        writeTestFile(process + "/comm", comm);
        return process;
    }

    static QByteArray answerIn(const QTemporaryDir& proc)
    {
        const BindMount covered(proc.path(), QStringLiteral("/proc"));
        return answer();
    }
};

TAVRIN_TEST_MAIN(TstPidrtsysEntries)
#include "tst_pidrtsys_entries.moc"
