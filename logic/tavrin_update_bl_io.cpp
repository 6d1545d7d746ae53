// The ways out of the business logic and into it: progress text, fatal errors, network requests and the judgement of
// their replies, and external programs. Every other file of the class calls these, and nothing here calls back. In
// window mode failWithMessage() returns, so whoever calls it says what happens then.
#include "tavrin_update_bl.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>
#include <QUrl>

#include <csignal>
#include <cstdlib>
#include <iostream>

namespace {

// How long one program may take to start, and how long to finish.
constexpr int TIME_LIMIT_MS = 30000;

QString joined(const QStringList& arguments)
{
    return arguments.join(QLatin1Char(' '));
}

// One program and how it is started. Where the system refuses a new process (a limit of tasks or of memory, or no
// descriptor left), Qt 5.15 takes a plain QProcess for started under the process number -1: it reports a success that
// never was, or in the end kills number -1, which is every process of the user. A derived class is started by fork()
// instead, whose failure Qt does see.
class SystemProcess : public QProcess
{
public:
    void startProgram(const QString& command, const QStringList& arguments)
    {
        announceEndsOfChildren();
        start(command, arguments, ReadWrite);
        refuseStartWithoutProcess();
    }

    // The command and its arguments in one text, separated by blanks.
    void startCommandLine(const QString& commandLine)
    {
        announceEndsOfChildren();
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED // the newer splitCommand() came with Qt 5.15
            start(commandLine, ReadWrite);
        QT_WARNING_POP
        refuseStartWithoutProcess();
    }

private:
    // After fork(), SIGCHLD tells Qt that a program has ended. A caller that blocked it passed that on to this process.
    static void announceEndsOfChildren()
    {
        sigset_t ends;
        sigemptyset(&ends);
        sigaddset(&ends, SIGCHLD);
        pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
    }

    // Whatever the version of Qt: what has no process number is not waited for and not killed.
    void refuseStartWithoutProcess()
    {
        if (state() != NotRunning && processId() <= 0) {
            setErrorString(QCoreApplication::translate("QProcess", "Process failed to start"));
            setProcessState(NotRunning);
        }
    }
};

void startProcess(SystemProcess& process, const QString& command, const QStringList& arguments)
{
    if (arguments.isEmpty()) {
        process.startCommandLine(command);
    } else {
        process.startProgram(command, arguments);
    }
}

} // namespace

void TavrinUpdateBusinessLogic::presentText(const QString& text) const
{
    if (options.terminal) {
        const QByteArray bytes = text.toLocal8Bit();
        std::cout.write(bytes.constData(), bytes.size());
        return;
    }
    // The progress log puts every text on a line of its own.
    emit appendProgress(text.endsWith(QLatin1Char('\n')) ? text.chopped(1) : text);
}

void TavrinUpdateBusinessLogic::presentLine(const QString& line) const
{
    presentText(line + QLatin1Char('\n'));
    std::cout.flush();
}

void TavrinUpdateBusinessLogic::failWithMessage(QString message) const
{
    if (options.terminal) {
        const QByteArray bytes = message.toLatin1();
        std::cerr.write(bytes.constData(), bytes.size()) << std::endl;
        std::exit(1);
    }
    emit processFailed(message);
}

QNetworkReply* TavrinUpdateBusinessLogic::sendRequest(QNetworkAccessManager& manager, const QUrl& url)
{
    QNetworkReply* reply = manager.get(QNetworkRequest(url));
    if (reply->isFinished() && reply->error() == QNetworkReply::ProtocolInvalidOperationError) {
        // Qt refuses a file URL that names a host at once, and its manager never says that the reply is finished.
        QTimer::singleShot(0, reply, [&manager, reply] { emit manager.finished(reply); });
    }
    return reply;
}

// Whether the reply did not come in whole, and why. When a server hangs up early, Qt once in some hundred times takes
// what has come for the whole body; the length that the server announced gives it away. A body in chunks marks its own
// end: there Qt goes by the chunks, as the protocol wants it, and a length announced beside them means nothing.
bool TavrinUpdateBusinessLogic::transferFailed(const QNetworkReply& reply, QString& reason)
{
    if (reply.error() != QNetworkReply::NoError) {
        reason = reply.errorString();
        return true;
    }
    const bool isWholeFile = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
    const bool isInChunks = reply.rawHeader("Transfer-Encoding").toLower().contains("chunked");
    const qint64 announced = reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
    reason = QCoreApplication::translate("QHttp", "Connection closed"); // as Qt says it the other times
    return isWholeFile && !isInChunks && reply.bytesAvailable() < announced;
}

bool TavrinUpdateBusinessLogic::isHttpRedirect(QNetworkReply* reply)
{
    switch (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()) {
    case 301:
    case 302:
    case 303:
    case 305:
    case 307:
    case 308:
        return true;
    default: // 304 and 306 send nobody elsewhere, and a local file has no status
        return false;
    }
}

bool TavrinUpdateBusinessLogic::pipeToSystemCommand(QString command, QStringList arguments, QString& output,
                                                    QString input) const
{
    output = NO_ERROR;
    if (options.verbose) {
        presentText(tr("Executing system command: %1 ").arg(command) + joined(arguments) + QLatin1Char('\n'));
    }
    SystemProcess process;
    process.startProgram(command, arguments);
    if (!input.isEmpty()) {
        if (!process.waitForStarted(TIME_LIMIT_MS)) {
            output = tr("Failed to start system command: %1").arg(command) + QLatin1Char(' ') + joined(arguments) +
                     QStringLiteral(":\n") + process.errorString();
            return false;
        }
        process.write(input.toLatin1().constData());
        process.closeWriteChannel();
    }
    if (!process.waitForFinished(TIME_LIMIT_MS)) {
        output = tr("System command '%1' failed:\n").arg(command) + QStringLiteral("  ") + process.errorString();
        return false;
    }
    output = QString::fromUtf8(process.readAllStandardError());
    if (output.isEmpty()) {
        output = QString::fromUtf8(process.readAllStandardOutput());
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString TavrinUpdateBusinessLogic::systemCommandChain(QString firstCommand, QStringList firstArguments,
                                                      QString secondCommand, QStringList secondArguments,
                                                      QByteArray& output) const
{
    const QString incomplete = tr("System command did not complete\n'%1'\n");
    SystemProcess first;
    startProcess(first, firstCommand, firstArguments);
    if (!first.waitForFinished(TIME_LIMIT_MS)) {
        return incomplete.arg(firstCommand) + first.errorString();
    }
    const QByteArray firstErrors = first.readAllStandardError();
    if (!firstErrors.isEmpty()) {
        return QString::fromUtf8(firstErrors);
    }

    SystemProcess second;
    startProcess(second, secondCommand, secondArguments);
    if (!second.waitForStarted(TIME_LIMIT_MS)) {
        return tr("Failed to start system command '%1'\n").arg(secondCommand) + second.errorString();
    }
    second.write(first.readAllStandardOutput());
    second.closeWriteChannel();
    if (!second.waitForFinished(TIME_LIMIT_MS)) {
        return incomplete.arg(secondCommand) + second.errorString();
    }
    const QByteArray secondErrors = second.readAllStandardError();
    if (!secondErrors.isEmpty()) {
        return QString::fromUtf8(secondErrors);
    }
    output = second.readAllStandardOutput();
    return NO_ERROR;
}
