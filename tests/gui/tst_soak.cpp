// The window at work for a long time: running systems come and go under its refreshes, lists are read again and patches
// are applied, and neither the memory in use nor the number of open descriptors may grow. The window's own timer drives
// the refreshes, but without the pause of a second between them. TAVRIN_SOAK_MINUTES says how long it works, one minute
// by default. A loss of one KiB in each refresh is found, see MINIMUM.
#include "fake_patch_server.h"
#include "window_test.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>

#include <algorithm>

#include <malloc.h>

using Answer = FakePatchServer::Answer;

#ifdef __SANITIZE_ADDRESS__
// Freed memory that the sanitizer keeps for a while would look like a leak.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}
#endif

namespace {

// How much the memory may grow from the second quarter of the run to the last one, in KiB, and how many refreshes there
// have to be at least. From quarter to quarter are half of them: with one KiB lost in each, that is twice the growth
// allowed. The sanitizers look for wrong uses of memory here: they keep records of what is allocated, which grow too,
// and the refreshes take several times as long.
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 GROWTH = 4096;
constexpr int MINIMUM = 1000;
#else
constexpr qint64 GROWTH = 1024;
constexpr int MINIMUM = static_cast<int>(4 * GROWTH);
#endif

// In a network of the test's own, so that one server after the other can have the port.
const QString HOST = QStringLiteral("patches.test");
constexpr quint16 PORT = 8080;

constexpr int REFRESHES_PER_ROUND = 100;

QString urlOf(const QString& path)
{
    return QStringLiteral("http://%1:%2%3").arg(HOST).arg(PORT).arg(path);
}

qint64 residentKib()
{
    ::malloc_trim(0);
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly)) {
        qFatal("cannot read /proc/self/status");
    }
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmRSS:") + 6).trimmed().split(' ').first().toLongLong();
}

int descriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).count();
}

qint64 median(QVector<qint64> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.count() / 2);
}

} // namespace

class TstSoak : public WindowTest
{
    Q_OBJECT

private slots:
    void memoryAndDescriptorsStayTheSame()
    {
        const QString setting = qEnvironmentVariable("TAVRIN_SOAK_MINUTES", "1");
        bool isNumber = false;
        const double minutes = setting.toDouble(&isNumber);
        QVERIFY2(isNumber && minutes > 0, "TAVRIN_SOAK_MINUTES is no number of minutes");

        initialize(urlOf("/before/"));
        showMainWindow();
        int refreshes = 0;
        connect(timer, &QTimer::timeout, this, [&refreshes] { ++refreshes; });

        QVector<qint64> memory;
        QElapsedTimer clock;
        clock.start();
        int openAtFirst = 0;
        int round = 0;
        const auto duration = static_cast<qint64>(minutes * 60000);
        while (clock.elapsed() < duration || refreshes < MINIMUM) {
            ++round;
            playRound(round, refreshes);
            if (QTest::currentTestFailed()) {
                return;
            }
            // The first rounds open what stays open: the network's threads, fonts, the locale.
            if (round <= 5) {
                openAtFirst = std::max(openAtFirst, descriptors());
            }
            QTRY_VERIFY2(descriptors() <= openAtFirst,
                         qPrintable(QString::number(descriptors()) + " descriptors stay open"));
            memory << residentKib();
        }

        const int quarter = memory.count() / 4;
        const qint64 before = median(memory.mid(quarter, quarter));
        const qint64 after = median(memory.mid(memory.count() - quarter));
        const QByteArray report =
            QByteArray::number(round) + " rounds with a list and an apply each, " + QByteArray::number(refreshes) +
            " refreshes in " + QByteArray::number(clock.elapsed() / 1000) + " s; memory " + QByteArray::number(before) +
            " KiB, then " + QByteArray::number(after) + " KiB; " + QByteArray::number(descriptors()) +
            " descriptors of at most " + QByteArray::number(openAtFirst);
        qInfo("%s", report.constData());
        QVERIFY2(after - before <= GROWTH, report);
    }

private:
    // Systems come; another list is read; they go; the patches of the list are applied.
    void playRound(int round, const int& refreshes)
    {
        const QStringList names{"P1", QStringLiteral("P%1").arg(2 + round % 5)};
        const QString path = round % 2 == 0 ? "/even/" : "/odd/";
        for (const QString& name : names) {
            QFile::remove(installation->path("patched/" + name));
        }
        // A new one each time, because a server keeps the requests that it had.
        FakePatchServer server(PORT);
        server.answer(path.toUtf8(), Answer::body(pageOf(names).html()));
        for (const QString& name : names) {
            server.answer((path + name + ".tar").toUtf8(),
                          Answer::body(archiveOf(installation->path("patched/" + name), "text")));
        }
        const int systemCount = 1 + round % 4;
        systems->set(runningSystem("5.8").repeated(systemCount - 1) + runningSystem("5.9"));
        readListOf(urlOf(path));
        timer->setInterval(1);
        const int after = refreshes + REFRESHES_PER_ROUND;
        QTRY_VERIFY(refreshes >= after);
        QCOMPARE(table->rowCount(), systemCount);
        QVERIFY(!applyButton->isEnabled());

        systems->set(QByteArray());
        QTRY_VERIFY(applyButton->isEnabled());
        QCOMPARE(table->rowCount(), 0);
        QSignalSpy finished(logic.get(), SIGNAL(updatePatchStatus()));
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 60000);
        QCOMPARE(marks(), QStringList({names.first() + " Y", names.last() + " Y"}));
        recorder->events.clear();
    }

    // As a user who types an address.
    void readListOf(const QString& address)
    {
        QSignalSpy ready(logic.get(), SIGNAL(patchListReady()));
        url->setText(address);
        QTest::keyClick(url, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(ready.count(), 1, 60000);
    }
};

TAVRIN_TEST_MAIN_WITH(QApplication, TstSoak, (TestPlace{HOST, {}}))
#include "tst_soak.moc"
