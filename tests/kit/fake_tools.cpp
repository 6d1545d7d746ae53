// The fake programs are shell scripts that name every command by its absolute path, because their search path contains
// only themselves. Each call makes a numbered folder. mkdir fails when the folder exists, so calls at the same moment
// get different numbers.
#include "fake_tools.h"

#include "fake_installation.h"
#include "test_files.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

QByteArray quoted(const QByteArray& text)
{
    return "'" + QByteArray(text).replace("'", "'\\''") + "'";
}

// Not searched for in PATH: a test may have set that to the folder of the fake programs.
QByteArray command(const char* name)
{
    static const QStringList systemPath{QStringLiteral("/usr/bin"), QStringLiteral("/bin")};
    const QString path = QStandardPaths::findExecutable(QString::fromLatin1(name), systemPath);
    if (path.isEmpty()) {
        qFatal("cannot find %s", name);
    }
    return quoted(QFile::encodeName(path));
}

QByteArray readFile(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The texts in a file, each with a NUL behind it.
QList<QByteArray> textsIn(const QString& name)
{
    QList<QByteArray> texts = readFile(name).split('\0');
    texts.removeLast(); // what follows the last terminator
    return texts;
}

} // namespace

FakeTool FakeTool::printing(const QByteArray& output, const QByteArray& errors, int status)
{
    FakeTool tool;
    tool.status = status;
    tool.output = output;
    tool.errors = errors;
    return tool;
}

FakeTool FakeTool::running(const QByteArray& script, int status)
{
    FakeTool tool;
    tool.status = status;
    tool.script = script;
    return tool;
}

FakeTools::FakeTools()
{
    for (const char* folder : {"bin", "calls"}) {
        if (!QDir(directory.path()).mkdir(QString::fromLatin1(folder))) {
            qFatal("cannot make a folder for fake programs");
        }
    }
}

void FakeTools::add(const QString& name, const FakeTool& tool)
{
    addTo(pathDirectory(), name, tool);
}

void FakeTools::addTo(const QString& targetDirectory, const QString& name, const FakeTool& tool)
{
    const QByteArray calls = quoted(QFile::encodeName(directory.path() + QStringLiteral("/calls")));
    QByteArray script = "#!/bin/sh\nn=0\nuntil " + command("mkdir") + " " + calls +
                        "/$n 2>/dev/null; do n=$((n+1)); done\n" + "call=" + calls + "/$n\n" + "printf '%s' " +
                        quoted(name.toUtf8()) + " >\"$call/tool\"\n" +
                        "pwd >\"$call/directory\"\nexec 3</proc/self/environ\n" + command("cat") +
                        " <&3 >\"$call/environment\"\nexec 3<&-\n: >\"$call/arguments\"\n" +
                        "for a; do printf '%s\\0' \"$a\" >>\"$call/arguments\"; done\n";
    if (tool.readsInput) {
        script += command("cat") + " >\"$call/input\"\n";
    }
    script += tool.script + "\n";
    script += "printf '%s' " + quoted(tool.output) + "\nprintf '%s' " + quoted(tool.errors) + " >&2\n";
    if (tool.hangs) {
        script += "exec " + command("sleep") + " 600\n";
    }
    script += "exit " + QByteArray::number(tool.status) + "\n";

    const QString file = targetDirectory + QLatin1Char('/') + name;
    QFile::remove(file);
    writeTestFile(file, script);
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void FakeTools::remove(const QString& name)
{
    if (!QFile::remove(pathDirectory() + QLatin1Char('/') + name)) {
        qFatal("no fake program %s to remove", qUtf8Printable(name));
    }
}

QString FakeTools::pathDirectory() const
{
    return directory.path() + QStringLiteral("/bin");
}

QList<FakeToolCall> FakeTools::calls() const
{
    QList<FakeToolCall> calls;
    for (int n = 0;; ++n) {
        const QString folder = QStringLiteral("%1/calls/%2").arg(directory.path()).arg(n);
        if (!QFileInfo::exists(folder)) {
            return calls;
        }
        FakeToolCall call;
        call.tool = QString::fromUtf8(readFile(folder + QStringLiteral("/tool")));
        call.workingDirectory = QString::fromUtf8(readFile(folder + QStringLiteral("/directory")).trimmed());
        call.arguments = textsIn(folder + QStringLiteral("/arguments"));
        call.environment = textsIn(folder + QStringLiteral("/environment"));
        std::sort(call.environment.begin(), call.environment.end());
        call.input = readFile(folder + QStringLiteral("/input"));
        calls << call;
    }
}

QStringList FakeTools::callLines() const
{
    QStringList lines;
    const QList<FakeToolCall> recorded = calls();
    for (const FakeToolCall& call : recorded) {
        const QList<QByteArray> words = QList<QByteArray>{call.tool.toUtf8()} + call.arguments;
        lines << QString::fromUtf8(words.join('|'));
    }
    return lines;
}
