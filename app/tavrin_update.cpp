// The entry of the program: it chooses the mode, reads the command line, has the installation checked and starts the
// event loop, where everything else happens. Required: the mode is decided twice, and the two can differ. A literal
// "-t" decides whether the program needs a display, the parsed options decide whether a window opens. Everything that
// needs a display is in the module of the window, which is loaded here. What happens when the process ends is here as
// well, and nowhere else.
#include "tavrin_update.h"

#include "tavrin_update_config.h"
#include "tavrin_update_windowfactory.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QPluginLoader>
#include <QScopedPointer>
#include <QTimer>

#include <clocale>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif
#ifdef TAVRIN_COVERAGE
extern "C" { // the header is written for C alone
#include <gcov.h>
}
#endif

// Only in a program that is linked to the library of the window; elsewhere the linker makes it null.
extern "C" __attribute__((weak, visibility("hidden"))) const TavrinUpdateWindowFactory* linkedWindowFactory();

namespace {

// Ends the process with the status that exit() was given, without any cleanup.
void endWithoutCleanup(int status, void* /*unused*/)
{
    std::fflush(stdout); // standard error is not buffered
#ifdef __SANITIZE_ADDRESS__
    __lsan_do_leak_check(); // usually done by the part of exit() that is left out
#endif
#ifdef TAVRIN_COVERAGE
    __gcov_dump(); // likewise
#endif
    _exit(status);
}

// Every way out of a run calls exit(), at any time. An object of this class makes exit() call endWithoutCleanup()
// first. Qt's network threads run from the first manager on, and exit() would destroy what they still use. They cannot
// be ended before: one may be just starting, or wait for an answer from this thread. A handler registered with
// on_exit() at the start would run too late, because handlers run in reverse order and Qt registers some during the
// run. But before it runs the handlers, exit() destroys the thread-local objects. A handler that a destructor registers
// then is the latest one, so it runs first.
struct CleanupSkippedAtExit
{
    CleanupSkippedAtExit() = default;
    CleanupSkippedAtExit(const CleanupSkippedAtExit&) = delete;
    CleanupSkippedAtExit& operator=(const CleanupSkippedAtExit&) = delete;

    ~CleanupSkippedAtExit()
    {
        on_exit(endWithoutCleanup, nullptr);
    }
};

// The number of a standard stream that the caller closed would go to the next file that is opened. The program would
// then read answers from a descriptor of Qt's event loop, or write the report into a download.
void occupyClosedStandardStreams()
{
    int descriptor = STDIN_FILENO;
    while (descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    if (descriptor > STDERR_FILENO) {
        close(descriptor);
    }
}

// Ends the process with a line on standard error that says why no window can open and what works without it.
[[noreturn]] void failWithoutWindow(const QString& reason)
{
    const QString line = QCoreApplication::translate("main", "tavrin_update: %1; option -t works without the window");
    std::fprintf(stderr, "%s\n", line.arg(reason).toLocal8Bit().constData());
    std::exit(1);
}

// Loads the module of the window, for good. It is only looked for beside the program itself. A module of another
// version calls other functions of the program, so its version is read from the file before any of it runs.
const TavrinUpdateWindowFactory* loadWindowFactory()
{
    // Here as well as in Qt's application object, which comes later: Qt keeps the encoding that it finds at first.
    std::setlocale(LC_ALL, "");
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    if (program.isEmpty()) {
        failWithoutWindow(
            QCoreApplication::translate("main", "the window cannot be loaded (/proc/self/exe cannot be read)"));
    }
    const QString path = QFileInfo(program).dir().filePath(QStringLiteral(TAVRIN_UPDATE_MODULE));
    if (!QFileInfo::exists(path)) {
        failWithoutWindow(
            QCoreApplication::translate("main", "the window is not installed (package tavrin-update-gui)"));
    }
    QPluginLoader module(path);
    const QJsonObject description = module.metaData();
    const QString version = description[QLatin1String("MetaData")].toObject()[QLatin1String("version")].toString();
    if (!description.isEmpty() && version != QLatin1String(TAVRIN_UPDATE_VERSION)) {
        failWithoutWindow(
            QCoreApplication::translate("main", "the installed window is of another version (%1 instead of %2)")
                .arg(version.isEmpty() ? QStringLiteral("unknown") : version, QStringLiteral(TAVRIN_UPDATE_VERSION)));
    }
    const auto* factory = qobject_cast<TavrinUpdateWindowFactory*>(module.instance());
    if (factory == nullptr) {
        failWithoutWindow(
            QCoreApplication::translate("main", "the window cannot be loaded (%1)").arg(module.errorString()));
    }
    return factory;
}

const TavrinUpdateWindowFactory& windowFactory()
{
    static const TavrinUpdateWindowFactory* factory =
        linkedWindowFactory != nullptr ? linkedWindowFactory() : loadWindowFactory();
    return *factory;
}

} // namespace

bool isTerminal(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (qstrcmp(argv[i], "-t") == 0) {
            return true;
        }
    }
    return false;
}

QCoreApplication* createApplication(bool terminal, int& argc, char** argv)
{
    if (!terminal) {
        return windowFactory().createApplication(argc, argv);
    }
    auto* app = new QCoreApplication(argc, argv);
    QCoreApplication::setLibraryPaths({}); // a terminal run needs none of Qt's plug-ins
    return app;
}

void parseCommandLine(QCoreApplication* app, TavrinUpdateBusinessLogic::CommandLineOptions& options)
{
    const QString programName = QStringLiteral("tavrin_update");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tavrin Update"));
    parser.addPositionalArgument(QStringLiteral("patchDownloadUrl"),
                                 QCoreApplication::translate("main", "Patch Download URL"), QString());

    const QCommandLineOption terminal(QStringLiteral("t"), QCoreApplication::tr("Terminal mode"));
    const QCommandLineOption listUnapplied(QStringLiteral("l"), QCoreApplication::tr("List unapplied patches"));
    const QCommandLineOption listAll(QStringLiteral("L"),
                                     QCoreApplication::tr("Just list patches and whether they're applied"));
    const QCommandLineOption showProposed(QStringLiteral("n"), QCoreApplication::tr("List but do not apply patches"));
    const QCommandLineOption verbose(QStringLiteral("v"), QCoreApplication::tr("Be more verbose"));
    const QCommandLineOption allowWhileRunning(QStringLiteral("Q"),
                                               QCoreApplication::tr("Allow updates when system is running"));
    const QCommandLineOption email(
        QStringLiteral("m"),
        QCoreApplication::tr("Send list of unapplied patchesto email address"), // required: the published wording
        QStringLiteral("email"), programName);
    const QCommandLineOption release(QStringLiteral("r"),
                                     QCoreApplication::tr("For testing only - override release to patch."),
                                     QStringLiteral("release"), programName);
    for (const auto& option :
         {terminal, listUnapplied, listAll, showProposed, verbose, allowWhileRunning, email, release}) {
        parser.addOption(option);
    }

    parser.process(*app);

    options.terminal = parser.isSet(terminal);
    options.verbose = parser.isSet(verbose);
    options.allowWhileRunning = parser.isSet(allowWhileRunning);
    options.listUnapplied = parser.isSet(listUnapplied);
    if (parser.isSet(listAll)) {
        options.listAll = true;
        options.listUnapplied = false;
    }
    options.showProposed = parser.isSet(showProposed);
    if (parser.isSet(email)) {
        options.email = parser.value(email);
    }
    options.apply = true;
    if (options.listAll || options.listUnapplied || !options.email.isEmpty() || parser.isSet(showProposed)) {
        // A run that only lists opens no window and installs nothing, so a running system does not matter.
        options.terminal = true;
        options.apply = false;
        options.allowWhileRunning = false;
    }
    if (parser.isSet(release)) {
        options.release = parser.value(release);
    }
    const QStringList urls = parser.positionalArguments();
    if (!urls.isEmpty()) {
        options.url = urls.first();
    }
}

int main(int argc, char** argv)
{
    thread_local const CleanupSkippedAtExit cleanupSkippedAtExit;
    occupyClosedStandardStreams();
    const bool terminal = isTerminal(argc, argv);
    const QScopedPointer<QCoreApplication> app(createApplication(terminal, argc, argv));
    TavrinUpdateBusinessLogic::CommandLineOptions options;
    parseCommandLine(app.data(), options);

    // With its first network manager Qt would load the plug-ins that watch the network interfaces, with D-Bus and more
    // threads, and go on watching for the life of the process.
    const QStringList plugInFolders = QCoreApplication::libraryPaths();
    QCoreApplication::setLibraryPaths({});
    TavrinUpdateBusinessLogic businessLogic{QString(argv[0])};
    QCoreApplication::setLibraryPaths(plugInFolders);
    const QString failure = businessLogic.initialize(options);
    if (!failure.isEmpty()) {
        businessLogic.failWithMessage(failure);
    }

    QTimer::singleShot(0, &businessLogic, SLOT(execute()));
    if (!options.terminal) {
        windowFactory().showWindow(businessLogic);
    }
    return QCoreApplication::exec();
}
