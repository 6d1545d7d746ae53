// A window run that starts programs through the business logic, and what the two tests of that share.
#pragma once

#include "window_logic.h"

#include <QTextCodec>

/** What an output that the runner does not touch holds. */
inline const QByteArray OUTPUT_BEFORE = "left from before";

/** Whether a program succeeded, and its output. */
using PipeOutcome = QPair<bool, QString>;

inline PipeOutcome success(const QString& output)
{
    return {true, output};
}

inline PipeOutcome failure(const QString& output)
{
    return {false, output};
}

/** The failure of a chain of two programs, and its output. */
using ChainOutcome = QPair<QString, QByteArray>;

/** A window run that starts programs. Outputs hold something before, so that it shows what becomes of that. */
struct RunnerWindow : WindowLogic
{
    using WindowLogic::WindowLogic;

    PipeOutcome run(const QString& command, const QStringList& arguments, const QString& input = QString()) const
    {
        QString output = OUTPUT_BEFORE;
        const bool succeeded = logic.pipeToSystemCommand(command, arguments, output, input);
        return {succeeded, output};
    }

    PipeOutcome shell(const QString& script, const QString& input = QString()) const
    {
        return run("/bin/sh", {"-c", script}, input);
    }

    ChainOutcome chain(const QString& first, const QStringList& firstArguments, const QString& second,
                       const QStringList& secondArguments) const
    {
        QByteArray output = OUTPUT_BEFORE;
        const QString message = logic.systemCommandChain(first, firstArguments, second, secondArguments, output);
        return {message, output};
    }

    ChainOutcome shellChain(const QString& first, const QString& second) const
    {
        return chain("/bin/sh", {"-c", first}, "/bin/sh", {"-c", second});
    }
};

/** Another local encoding as long as this object lives. */
class LocalEncoding
{
public:
    explicit LocalEncoding(const char* name) : before(QTextCodec::codecForLocale())
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
    }

    ~LocalEncoding()
    {
        QTextCodec::setCodecForLocale(before);
    }

    LocalEncoding(const LocalEncoding&) = delete;
    LocalEncoding& operator=(const LocalEncoding&) = delete;

private:
    QTextCodec* before;
};

/**
 * Perl that tells whether standard input still has a writer: an input at its end is readable, one that was not ended is
 * not. The half second is there for an end that comes late.
 */
inline const QString TELL_INPUT_STATE =
    "my $set = ''; vec($set, 0, 1) = 1; print select($set, undef, undef, 0.5) ? 'ended' : 'open'";

constexpr int MEGABYTE = 1 << 20;
