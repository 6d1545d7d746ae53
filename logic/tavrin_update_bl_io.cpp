// Input and output of the business logic: progress text, fatal errors, network requests, the check whether a reply is
// whole, and external programs. Most other files of the class call these functions; nothing here calls them back, and
// the slot for a reply comes in as an argument. In window mode failWithMessage() returns, and the caller goes on.
#include "tavrin_update_bl.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

// How long one program may take to start, and how long to finish.
constexpr int TIME_LIMIT_MS = 30000;

void writeTo(FILE* stream, const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
}

QString separatedByBlanks(const QStringList& arguments)
{
    return arguments.join(QLatin1Char(' '));
}

// A QProcess that notices when the system refuses a new process (a limit of tasks or of memory, or no descriptor left).
// Qt 5.15 overlooks that failure of a plain QProcess: it goes on with the process number -1 and reports success, or in
// the end kills number -1, which is every process of the user. A derived class is started with fork(), whose failure Qt
// does notice.
class SystemProcess : public QProcess
{
public:
    void startProgram(const QString& command, const QStringList& arguments)
    {
        unblockEndsOfChildren();
        start(command, arguments, ReadWrite);
        refuseStartWithoutProcess();
    }

    // The command and its arguments in one text, separated by blanks.
    void startCommandLine(const QString& commandLine)
    {
        unblockEndsOfChildren();
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED // the newer splitCommand() came with Qt 5.15
        start(commandLine, ReadWrite);
        QT_WARNING_POP
        refuseStartWithoutProcess();
    }

private:
    // After fork(), Qt learns from SIGCHLD that a program has ended. This process inherits it blocked when its caller
    // blocked it.
    static void unblockEndsOfChildren()
    {
        sigset_t ends;
        sigemptyset(&ends);
        sigaddset(&ends, SIGCHLD);
        pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
    }

    // A second check, for other versions of Qt: without a process number there is nothing to wait for or to kill.
    void refuseStartWithoutProcess()
    {
        if (state() != NotRunning && processId() <= 0) {
            setErrorString(QCoreApplication::translate("QProcess", "Process failed to start"));
            setProcessState(NotRunning);
        }
    }
};

void startPartOfChain(SystemProcess& process, const QString& command, const QStringList& arguments)
{
    if (arguments.isEmpty()) { // required: Qt then splits the command into the program and its arguments
        process.startCommandLine(command);
    } else {
        process.startProgram(command, arguments);
    }
}

// When a server hangs up early, Qt takes what has come for the whole body, once in some hundred times. The length that
// the server announced shows it. A length announced beside chunks means nothing, and Qt does not tell whether the mark
// at the end of the chunks has come: a body that was cut there cannot be told from a whole one.
bool isCutShort(const QNetworkReply& reply)
{
    const bool isWholeFile = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
    const bool isInChunks = reply.rawHeader("Transfer-Encoding").toLower().contains("chunked");
    const qint64 announced = reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
    return isWholeFile && !isInChunks && reply.bytesAvailable() < announced;
}

bool isWhole(const QNetworkReply& reply)
{
    return reply.error() == QNetworkReply::NoError && !isCutShort(reply);
}

// May be empty, since Qt can report an error without a text.
QString failureReason(const QNetworkReply& reply)
{
    if (reply.error() != QNetworkReply::NoError) {
        return reply.errorString();
    }
    return QCoreApplication::translate("QHttp", "Connection closed"); // the text that Qt itself gives for an early end
}

} // namespace

void TavrinUpdateBusinessLogic::presentText(const QString& text) const
{
    if (options.terminal) {
        writeTo(stdout, text.toLocal8Bit());
        return;
    }
    // The progress log adds a line break to every text.
    emit appendProgress(text.endsWith(QLatin1Char('\n')) ? text.chopped(1) : text);
}

void TavrinUpdateBusinessLogic::presentLine(const QString& line) const
{
    presentText(line + QLatin1Char('\n'));
    std::fflush(stdout);
}

void TavrinUpdateBusinessLogic::failWithMessage(QString message) const
{
    if (options.terminal) {
        std::fflush(stdout);
        writeTo(stderr, message.toLatin1() + '\n');
        std::exit(1);
    }
    emit processFailed(message);
}

QNetworkReply* TavrinUpdateBusinessLogic::sendRequest(QNetworkAccessManager& manager, const QUrl& url,
                                                      ReplySlot whenFinished)
{
    QNetworkReply* reply = manager.get(QNetworkRequest(url));
    // Qt refuses a file URL with a host at once, and then its manager never emits finished().
    const bool isRefused = reply->isFinished() && reply->error() == QNetworkReply::ProtocolInvalidOperationError;
    // When initialize() stopped early, the managers are not connected, so no other reply reaches its slot either.
    const bool isInitialized = !operatingSystem.isEmpty();
    if (isRefused && isInitialized) {
        QTimer::singleShot(0, reply, [this, reply, whenFinished] { (this->*whenFinished)(reply); });
    }
    return reply;
}

QString TavrinUpdateBusinessLogic::listFetchFailure(const QNetworkReply& reply)
{
    if (isWhole(reply)) {
        return NO_ERROR;
    }
    // Required: the reason is limited to the characters of the local 8-bit encoding, in the window as well.
    const QString reason = QString::fromLocal8Bit(failureReason(reply).toLocal8Bit());
    QString message = tr("Failed to read patches from\n%1\n%2\n").arg(reply.url().toDisplayString(), reason);
    if (reply.error() == QNetworkReply::ProtocolUnknownError) {
        message += tr("Begin your URL with 'http://' or, for local files, 'file:///'.");
    }
    return message;
}

QString TavrinUpdateBusinessLogic::downloadFailure(const QNetworkReply& reply)
{
    if (isWhole(reply)) {
        return NO_ERROR;
    }
    return tr("Download of %1 failed: %2\n").arg(reply.url().toString(QUrl::FullyEncoded), failureReason(reply));
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
    default: // required: 304 and 306 are no redirects, nor is a local file, which has no status
        return false;
    }
}

bool TavrinUpdateBusinessLogic::pipeToSystemCommand(QString command, QStringList arguments, QString& output,
                                                    QString input) const
{
    output = NO_ERROR;
    if (options.verbose) {
        // Required: without arguments the line ends in a blank.
        presentText(tr("Executing system command: %1 ").arg(command) + separatedByBlanks(arguments) +
                    QLatin1Char('\n'));
    }
    SystemProcess process;
    process.startProgram(command, arguments);
    if (!input.isEmpty()) {
        if (!process.waitForStarted(TIME_LIMIT_MS)) {
            output = tr("Failed to start system command: %1").arg(command) + QLatin1Char(' ') +
                     separatedByBlanks(arguments) + QStringLiteral(":\n") + process.errorString();
            return false;
        }
        process.write(input.toLatin1().constData()); // required: ends at the first NUL
        process.closeWriteChannel();
    }
    // Required: without input the program's standard input stays open.
    if (!process.waitForFinished(TIME_LIMIT_MS)) {
        output = tr("System command '%1' failed:\n").arg(command) + QStringLiteral("  ") + process.errorString();
        return false;
    }
    output = QString::fromUtf8(process.readAllStandardError());
    if (output.isEmpty()) { // required: never both
        output = QString::fromUtf8(process.readAllStandardOutput());
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString TavrinUpdateBusinessLogic::systemCommandChain(QString firstCommand, QStringList firstArguments,
                                                      QString secondCommand, QStringList secondArguments,
                                                      QByteArray& output) const
{
    // Required: these texts differ from those of pipeToSystemCommand(), and exit codes do not count.
    const QString incomplete = tr("System command did not complete\n'%1'\n");
    SystemProcess first;
    startPartOfChain(first, firstCommand, firstArguments);
    if (!first.waitForFinished(TIME_LIMIT_MS)) {
        return incomplete.arg(firstCommand) + first.errorString();
    }
    const QByteArray firstErrors = first.readAllStandardError();
    if (!firstErrors.isEmpty()) {
        return QString::fromUtf8(firstErrors);
    }

    SystemProcess second;
    startPartOfChain(second, secondCommand, secondArguments);
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
