// Small scripts that replace the programs which a run starts: the decompressor, perl, the archive tool, the page script
// and the mailer. Each records its call and then does what the test told it to do.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/** What a fake program does after it has recorded its call. */
struct FakeTool
{
    int status = 0;
    QByteArray output;
    QByteArray errors;
    bool readsInput = false; // to its end, which never comes when the caller leaves the input open
    bool hangs = false;
    QByteArray script; // shell commands before the end, with the call's arguments as $1, $2 ...

    /** A program that prints both texts and ends. */
    static FakeTool printing(const QByteArray& output, const QByteArray& errors, int status = 0);

    /** A program that runs shell commands and ends. */
    static FakeTool running(const QByteArray& script, int status = 0);
};

/** One call of a fake program. */
struct FakeToolCall
{
    QString tool;
    QList<QByteArray> arguments;
    QList<QByteArray> environment; // sorted
    QByteArray input;
    QString workingDirectory;
};

/** A directory for the search path with the fake programs that a test puts there, and the record of their calls. */
class FakeTools
{
public:
    FakeTools();

    /** Puts a program into pathDirectory(), replacing what was there under that name. */
    void add(const QString& name, const FakeTool& tool = FakeTool());

    /** Puts a program into a directory of the test's own, as an installation's bin. */
    void addTo(const QString& directory, const QString& name, const FakeTool& tool = FakeTool());

    /** Takes a program out of pathDirectory() again. */
    void remove(const QString& name);

    /** The only directory that belongs on the search path of the program under test. */
    QString pathDirectory() const;

    /** All calls so far, in their order. */
    QList<FakeToolCall> calls() const;

    /** The same as texts, one per call: the program's name and its arguments with a bar between them. */
    QStringList callLines() const;

private:
    QTemporaryDir directory;
};
