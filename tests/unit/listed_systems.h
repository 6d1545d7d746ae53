// What the test programs of the stand-in library share: real processes named rtexec, and the library's records of them.
// Other tests may run such processes at the same time, so records are found by their process id. A process that does
// not start or is not listed fails the test that asks for it.
#pragma once

#include "pidrtsys.h"
#include "real_process.h"
#include "test.h"

#include <pwd.h>

/** A record of the library's answer; all empty for a process that is not listed. */
struct Listed
{
    pid_t pid = 0;
    QByteArray version;
    QByteArray userName;
    QByteArray workingDirectory;
};

/** The text of a record's field. */
template <std::size_t size>
QByteArray textOf(const char (&field)[size])
{
    const std::size_t length = qstrnlen(field, size);
    return length < size ? QByteArray(field, static_cast<int>(length)) : QByteArray("(a field without its NUL)");
}

/** The library's answer as text, one line per record; "inconsistent" when its array does not match its count. */
inline QByteArray answer()
{
    Pidrtsys* systems = nullptr;
    const int count = pidrtsys(&systems);
    if (count < 0 || (systems == nullptr) != (count == 0)) {
        return "inconsistent";
    }
    QByteArray text;
    for (int index = 0; index < count; ++index) {
        const Pidrtsys& system = systems[index];
        text += QByteArray::number(system.rtexecPid) + '\t' + textOf(system.version) + '\t' + textOf(system.userName) +
                '\t' + textOf(system.workingDirectory) + '\n';
    }
    std::free(systems);
    return text;
}

/** The records in an answer. */
inline QVector<Listed> recordsIn(const QByteArray& text)
{
    QVector<Listed> records;
    for (const QByteArray& line : text.split('\n')) {
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 4) {
            records.append({fields[0].toInt(), fields[1], fields[2], fields[3]});
        }
    }
    return records;
}

/** The record of a process. */
inline Listed recordOf(const RealProcess& process, const QByteArray& text = answer())
{
    for (const Listed& record : recordsIn(text)) {
        if (record.pid == process.pid()) {
            return record;
        }
    }
    return {};
}

/** A process that has started its program. */
struct StartedProcess : RealProcess
{
    explicit StartedProcess(const Start& start) : RealProcess(start)
    {
        [this] {
            QVERIFY2(isUp(), "the process does not run its program");
        }();
    }
};

/** Starts a process and returns its record. */
inline Listed recordOfStarted(const Start& start)
{
    const StartedProcess process(start);
    const Listed record = recordOf(process);
    [&] {
        QCOMPARE(record.pid, process.pid());
    }();
    return record;
}

/** The name of a user, or the number of a user without a name. */
inline QByteArray nameOf(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry == nullptr ? QByteArray::number(user) : QByteArray(entry->pw_name);
}

/** The base of the library's tests, with a program that is started as a system. */
class PidrtsysTest : public Test
{
    Q_OBJECT

protected:
    /** A system with this environment and this first argument. */
    Start systemStart(const QByteArrayList& environment, const QByteArray& firstArgument = "rtexec") const
    {
        Start start = copies.systemStart();
        start.environment = environment;
        start.arguments = QByteArrayList{firstArgument, "600"};
        return start;
    }

    SleepCopies copies;

private slots:
    void cleanupTestCase()
    {
        QCOMPARE(copies.remove(), QString());
    }
};
