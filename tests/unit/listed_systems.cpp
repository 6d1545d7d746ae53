// A process that does not start or is not listed is a result of the test that asked for it.
#include "listed_systems.h"

#include <cstdlib>

#include <pwd.h>

namespace {

template <std::size_t size>
QByteArray textOf(const char (&field)[size])
{
    const std::size_t length = qstrnlen(field, size);
    return length < size ? QByteArray(field, static_cast<int>(length)) : QByteArray("(a field without its NUL)");
}

} // namespace

QByteArray answer()
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

QVector<Listed> recordsIn(const QByteArray& text)
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

Listed recordOf(const RealProcess& process, const QByteArray& text)
{
    for (const Listed& record : recordsIn(text)) {
        if (record.pid == process.pid()) {
            return record;
        }
    }
    return {};
}

QByteArray countAndArray()
{
    Pidrtsys* systems = reinterpret_cast<Pidrtsys*>(1); // to see that even "none" is stored
    const int found = pidrtsys(&systems);
    const QByteArray text = QByteArray::number(found) + (systems == nullptr ? " null\n" : " array\n");
    std::free(systems);
    return text;
}

StartedProcess::StartedProcess(const Start& start) : RealProcess(start)
{
    [this] {
        QVERIFY2(isUp(), "the process does not run its program");
    }();
}

Listed recordOfStarted(const Start& start)
{
    const StartedProcess process(start);
    const Listed record = recordOf(process);
    [&] {
        QCOMPARE(record.pid, process.pid());
    }();
    return record;
}

QByteArray nameOf(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry == nullptr ? QByteArray::number(user) : QByteArray(entry->pw_name);
}

Start PidrtsysTest::systemStart(const QByteArrayList& environment, const QByteArray& firstArgument) const
{
    Start start = copies.systemStart();
    start.environment = environment;
    start.arguments = QByteArrayList{firstArgument, "600"};
    return start;
}

void PidrtsysTest::cleanupTestCase()
{
    QCOMPARE(copies.remove(), QString());
}
