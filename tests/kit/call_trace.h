// The system calls of a run as strace noted them; Program::traceCalls() has them noted. Only calls that can change
// files, start programs or send signals are noted, of the program and of everything that it started. A copy that the
// program made of itself counts as the program until it has become another one.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/** One call, in strace's words: a descriptor has the name of its file behind it, in angle brackets. */
struct SystemCall
{
    QByteArray name;
    QByteArray arguments;
    QByteArray result; // begins with -1 and the error when the call failed; "?" when it never returned
    int process = 0;
    bool isOfProgram = false;

    /** Whether it opens a file in a way that lets the process change it. */
    bool opensForWriting() const;

    /** Whether it can change a file, a folder or their properties, also by opening it. */
    bool changesFiles() const;

    /** Whether it becomes another program; a failed attempt counts too. */
    bool startsProgram() const;

    /** Whether it sends a signal. */
    bool sendsSignal() const;

    /** The file that it opened; for other calls, and when it could not, the first name that was given. */
    QByteArray file() const;

    /** The arguments of a started program, its own name first. */
    QByteArray startedCommand() const;
};

/** The command, up to the program to be traced, that writes its calls into a file and ends with the program. */
QStringList traceCommand(const QString& file, const QString& preloadedLibraries);

/** The calls in such a file, in the order of their ends. */
QList<SystemCall> callsIn(const QString& file);

/** The files that the program itself opened for writing or changed otherwise, each once, sorted. */
QList<QByteArray> filesWrittenByProgram(const QList<SystemCall>& calls);

/** The commands that the program itself started or tried to start, the first one being its own start. */
QList<QByteArray> commandsStartedByProgram(const QList<SystemCall>& calls);

/** A command as commandsStartedByProgram() has it. */
QByteArray commandOf(const QStringList& words);

/** The signals that the program itself sent, each as a line. */
QList<QByteArray> signalsOfProgram(const QList<SystemCall>& calls);

/** The calls for which the function is true, each as a line. */
template <typename Condition>
QList<QByteArray> linesOf(const QList<SystemCall>& calls, Condition condition)
{
    QList<QByteArray> lines;
    for (const SystemCall& call : calls) {
        if (condition(call)) {
            lines << call.name + '(' + call.arguments + ") = " + call.result;
        }
    }
    return lines;
}
