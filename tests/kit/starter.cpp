// Starts programs through the business logic in ways that no run of the updater uses, or after a limit of this process
// has been reached, which no run can be made to do at the right moment. Prints the result.
//
//     starter run|feed|first-of-chain|second-of-chain tasks|descriptors
//
// "tasks" allows no further process, "descriptors" only as many descriptors as the pipes to a program need.
#include "tavrin_update_bl.h"

#include <QCoreApplication>
#include <QVector>

#include <iostream>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const int DESCRIPTORS_OF_PIPES = 8; // standard input, output and error, and the one that tells of a failed start

const QString LIMIT_TASKS_OF_CALLER = "exec prlimit --pid $PPID --nproc=1:1";

void leaveDescriptors(int count)
{
    QVector<int> opened;
    for (int descriptor = 0; descriptor >= 0; descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) {
        opened.append(descriptor);
    }
    for (int i = 0; i < count; ++i) {
        close(opened.takeLast());
    }
}

void limitTasks()
{
    const rlimit none = {1, 1};
    setrlimit(RLIMIT_NPROC, &none);
}

QString start(const QString& way, const TavrinUpdateBusinessLogic& logic)
{
    const QString program = "true";
    const QStringList arguments{"argument"};
    if (way.endsWith("-of-chain")) {
        const bool limitsInBetween = way.startsWith("second");
        const QString first = limitsInBetween ? "sh" : program;
        const QStringList words = limitsInBetween ? QStringList{"-c", LIMIT_TASKS_OF_CALLER} : arguments;
        QByteArray output;
        const QString failure = logic.systemCommandChain(first, words, program, QStringList(), output);
        return failure.isEmpty() ? "success" : failure;
    }
    QString output;
    const QString input = way == "feed" ? "input" : QString();
    const bool isSuccess = logic.pipeToSystemCommand(program, arguments, output, input);
    return isSuccess ? "success" : output;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const QString way = QCoreApplication::arguments().value(1);
    const QString limit = QCoreApplication::arguments().value(2);
    TavrinUpdateBusinessLogic logic("starter");
    TavrinUpdateBusinessLogic::CommandLineOptions options;
    options.showProposed = false;
    options.verbose = false;
    static_cast<void>(logic.initialize(options)); // sets the options before anything that can fail here
    if (limit == "descriptors") {
        leaveDescriptors(DESCRIPTORS_OF_PIPES);
    } else if (!way.startsWith("second")) {
        limitTasks();
    }
    std::cout << start(way, logic).toStdString() << std::endl;
    _exit(0);
}
