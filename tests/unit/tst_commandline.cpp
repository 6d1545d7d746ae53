// The entry's three functions that can be called: which application object a command line gets, and what options come
// of it. The entry's source is built into this test with its main renamed. Each test makes its own application object,
// because the arguments belong to it; command lines that end the process are tst_usage's subject.
#include "tavrin_update.h"

#include "message_guard.h"
#include "private_opt.h"

#include <QApplication>
#include <QScopedPointer>
#include <QTest>
#include <QTranslator>

#include <vector>

namespace {

using Options = TavrinUpdateBusinessLogic::CommandLineOptions;

// A command line in the form in which main() gets it.
class CommandLine
{
public:
    explicit CommandLine(const QStringList& arguments)
    {
        texts << QByteArrayLiteral("/usr/bin/tavrin_update");
        for (const QString& argument : arguments) {
            texts << argument.toLocal8Bit();
        }
        for (QByteArray& text : texts) {
            words.push_back(text.data());
        }
        words.push_back(nullptr);
        count = texts.size();
    }

    int count;

    char** argv()
    {
        return words.data();
    }

private:
    QList<QByteArray> texts;
    std::vector<char*> words;
};

// One line for all fields, so that a failed comparison shows them all.
QString describe(const Options& options)
{
    QStringList words;
    const auto flag = [&words](bool isSet, const char* name) {
        if (isSet) {
            words << QLatin1String(name);
        }
    };
    flag(options.apply, "apply");
    flag(options.showProposed, "showProposed");
    flag(options.terminal, "terminal");
    flag(options.listUnapplied, "listUnapplied");
    flag(options.listAll, "listAll");
    flag(options.verbose, "verbose");
    flag(options.allowWhileRunning, "allowWhileRunning");
    words << QStringLiteral("email=%1 release=%2 url=%3").arg(options.email, options.release, options.url);
    return words.join(QLatin1Char(' '));
}

void parse(const QStringList& arguments, Options& options)
{
    CommandLine line(arguments);
    QCoreApplication app(line.count, line.argv());
    parseCommandLine(&app, options);
}

// Translates nothing and remembers what it was asked for.
class RecordingTranslator : public QTranslator
{
public:
    bool isEmpty() const override
    {
        return false;
    }

    QString translate(const char* context, const char* text, const char* disambiguation, int n) const override
    {
        Q_UNUSED(disambiguation)
        Q_UNUSED(n)
        requests << QStringLiteral("%1: %2").arg(QLatin1String(context), QLatin1String(text));
        return QString();
    }

    mutable QStringList requests;
};

} // namespace

class TstCommandline : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void terminalIsAskedForByItsLiteralOption_data();
    void terminalIsAskedForByItsLiteralOption();
    void programNameAsksForNothing();
    void terminalRunGetsAPlainApplication();
    void windowRunGetsAGuiApplication();
    void applicationTakesTheArguments();
    void freshOptionsDescribeAVerboseTerminalRun();
    void optionsAreCopiedMemberWise();
    void commandLineFillsTheOptions_data();
    void commandLineFillsTheOptions();
    void absentOptionsClearOrKeepWhatWasThere();
    void keptListAllForcesTerminalMode();
    void declaredDefaultsNeverReachTheOptions();
    void everyTextIsOfferedForTranslation();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstCommandline::init()
{
    guard.reset(new MessageGuard);
}

void TstCommandline::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstCommandline::terminalIsAskedForByItsLiteralOption_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("terminal");

    QTest::newRow("no arguments") << QStringList{} << false;
    QTest::newRow("the option alone") << QStringList{"-t"} << true;
    QTest::newRow("the option last") << QStringList{"-l", "http://host.test/", "-t"} << true;
    QTest::newRow("other options") << QStringList{"-l", "-L", "-n", "-v", "-Q"} << false;
    QTest::newRow("a cluster with it last") << QStringList{"-lt"} << false;
    QTest::newRow("a cluster with it first") << QStringList{"-tl"} << false;
    QTest::newRow("in capitals") << QStringList{"-T"} << false;
    QTest::newRow("two dashes") << QStringList{"--t"} << false;
    QTest::newRow("a long form") << QStringList{"--terminal"} << false;
    QTest::newRow("no dash") << QStringList{"t"} << false;
    QTest::newRow("a blank behind") << QStringList{"-t "} << false;
    QTest::newRow("within a value") << QStringList{"-m", "a-t"} << false;
    QTest::newRow("as the value of another option") << QStringList{"-m", "-t"} << true;
    QTest::newRow("behind the end of the options") << QStringList{"--", "-t"} << true;
    QTest::newRow("an empty argument") << QStringList{""} << false;
}

void TstCommandline::terminalIsAskedForByItsLiteralOption()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, terminal);
    CommandLine line(arguments);
    QCOMPARE(isTerminal(line.count, line.argv()), terminal);
}

void TstCommandline::programNameAsksForNothing()
{
    char name[] = "-t";
    char* argv[] = {name, nullptr};
    QCOMPARE(isTerminal(1, argv), false);
    QCOMPARE(isTerminal(0, argv + 1), false);
}

void TstCommandline::terminalRunGetsAPlainApplication()
{
    CommandLine line({"-t"});
    const QScopedPointer<QCoreApplication> app(createApplication(true, line.count, line.argv()));
    QCOMPARE(app->metaObject()->className(), "QCoreApplication");
    QCOMPARE(QCoreApplication::instance(), app.data());
}

void TstCommandline::windowRunGetsAGuiApplication()
{
    CommandLine line({"-l"});
    const QScopedPointer<QCoreApplication> app(createApplication(false, line.count, line.argv()));
    QCOMPARE(app->metaObject()->className(), "QApplication");
    QCOMPARE(QCoreApplication::instance(), app.data());
}

void TstCommandline::applicationTakesTheArguments()
{
    // Qt removes its own options from the caller's count and array.
    CommandLine line({"-platform", "offscreen", "-l", "http://host.test/"});
    const QScopedPointer<QCoreApplication> app(createApplication(false, line.count, line.argv()));
    QCOMPARE(line.count, 3);
    QCOMPARE(QCoreApplication::arguments(), (QStringList{"/usr/bin/tavrin_update", "-l", "http://host.test/"}));
}

void TstCommandline::freshOptionsDescribeAVerboseTerminalRun()
{
    Options options;
    options.showProposed = false; // the one field without a value of its own
    QCOMPARE(describe(options), QStringLiteral("terminal verbose email= release= url="));
}

void TstCommandline::optionsAreCopiedMemberWise()
{
    Options options;
    parse({"-L", "-n", "-v", "-m", "a@host.test", "-r", "5.8", "http://host.test/"}, options);
    Options copy;
    copy = options;
    QCOMPARE(describe(copy), QStringLiteral("showProposed terminal listAll verbose email=a@host.test release=5.8 "
                                            "url=http://host.test/"));
    QCOMPARE(describe(copy), describe(options));
}

void TstCommandline::commandLineFillsTheOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("options");

    const QString none = "email= release= url=";
    QTest::newRow("nothing") << QStringList{} << "apply " + none;
    QTest::newRow("-t") << QStringList{"-t"} << "apply terminal " + none;
    QTest::newRow("-l") << QStringList{"-l"} << "terminal listUnapplied " + none;
    QTest::newRow("-L") << QStringList{"-L"} << "terminal listAll " + none;
    QTest::newRow("-n") << QStringList{"-n"} << "showProposed terminal " + none;
    QTest::newRow("-v") << QStringList{"-v"} << "apply verbose " + none;
    QTest::newRow("-Q") << QStringList{"-Q"} << "apply allowWhileRunning " + none;
    QTest::newRow("-m") << QStringList{"-m", "a@host.test"} << "terminal email=a@host.test release= url=";
    QTest::newRow("-r") << QStringList{"-r", "5.8"} << "apply email= release=5.8 url=";
    QTest::newRow("a URL") << QStringList{"http://host.test/"} << "apply email= release= url=http://host.test/";
    QTest::newRow("two URLs") << QStringList{"file:///one", "file:///two"} << "apply email= release= url=file:///one";
    QTest::newRow("an empty URL") << QStringList{""} << "apply " + none;
    QTest::newRow("an empty URL before another") << QStringList{"", "file:///two"} << "apply " + none;

    QTest::newRow("-l and -L") << QStringList{"-l", "-L"} << "terminal listAll " + none;
    QTest::newRow("-L and -l") << QStringList{"-L", "-l"} << "terminal listAll " + none;
    QTest::newRow("-l and -n") << QStringList{"-l", "-n"} << "showProposed terminal listUnapplied " + none;
    QTest::newRow("-t and -Q") << QStringList{"-t", "-Q"} << "apply terminal allowWhileRunning " + none;
    QTest::newRow("-Q and -l") << QStringList{"-Q", "-l"} << "terminal listUnapplied " + none;
    QTest::newRow("-Q and -L") << QStringList{"-Q", "-L"} << "terminal listAll " + none;
    QTest::newRow("-Q and -n") << QStringList{"-Q", "-n"} << "showProposed terminal " + none;
    QTest::newRow("-Q and -m") << QStringList{"-Q", "-m", "a"} << "terminal email=a release= url=";
    QTest::newRow("-Q and -r") << QStringList{"-Q", "-r", "5.8"} << "apply allowWhileRunning email= release=5.8 url=";
    QTest::newRow("-v and -l") << QStringList{"-v", "-l"} << "terminal listUnapplied verbose " + none;
    QTest::newRow("an empty address") << QStringList{"-m", ""} << "apply " + none;
    QTest::newRow("an empty address and -Q") << QStringList{"-m", "", "-Q"} << "apply allowWhileRunning " + none;
    QTest::newRow("an empty release") << QStringList{"-r", ""} << "apply " + none;
    QTest::newRow("an address that looks like an option")
        << QStringList{"-m", "-t"} << "terminal email=-t release= url=";
    QTest::newRow("an address within its option")
        << QStringList{"-ma@host.test"} << "terminal email=a@host.test release= url=";
    QTest::newRow("two addresses, of which the last counts")
        << QStringList{"-m", "a", "-m", "b"} << "terminal email=b release= url=";
    QTest::newRow("two addresses, the last empty") << QStringList{"-m", "a", "-m", ""} << "apply " + none;
    QTest::newRow("a cluster") << QStringList{"-lt"} << "terminal listUnapplied " + none;
    QTest::newRow("a cluster of all flags")
        << QStringList{"-tlLnvQ"} << "showProposed terminal listAll verbose " + none;
    QTest::newRow("options behind the URL")
        << QStringList{"file:///one", "-l"} << "terminal listUnapplied email= release= url=file:///one";
    QTest::newRow("a URL behind the end of the options")
        << QStringList{"-t", "--", "-l"} << "apply terminal email= release= url=-l";
    QTest::newRow("an option given twice") << QStringList{"-n", "-n"} << "showProposed terminal " + none;
    QTest::newRow("everything") << QStringList{"-t", "-l", "-L", "-n",  "-v",          "-Q",
                                               "-m", "a",  "-r", "5.8", "file:///one", "file:///two"}
                                << "showProposed terminal listAll verbose email=a release=5.8 url=file:///one";
}

void TstCommandline::commandLineFillsTheOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, options);
    Options parsed;
    parse(arguments, parsed);
    QCOMPARE(describe(parsed), options);
}

void TstCommandline::absentOptionsClearOrKeepWhatWasThere()
{
    Options options;
    options.apply = false;
    options.showProposed = true;
    options.terminal = true;
    options.listUnapplied = true;
    options.verbose = true;
    options.allowWhileRunning = true;
    options.release = "5.8";
    options.url = "file:///kept/";
    parse({}, options);
    QCOMPARE(describe(options), QStringLiteral("apply email= release=5.8 url=file:///kept/"));
}

void TstCommandline::keptListAllForcesTerminalMode()
{
    Options all;
    all.listAll = true;
    parse({"-l", "-Q"}, all);
    QCOMPARE(describe(all), QStringLiteral("terminal listUnapplied listAll email= release= url="));

    Options mailed;
    mailed.email = "kept@host.test";
    parse({"-Q"}, mailed);
    QCOMPARE(describe(mailed), QStringLiteral("terminal email=kept@host.test release= url="));
}

void TstCommandline::declaredDefaultsNeverReachTheOptions()
{
    Options options;
    parse({"-t"}, options);
    QCOMPARE(options.email, QString());
    QCOMPARE(options.release, QString());
}

void TstCommandline::everyTextIsOfferedForTranslation()
{
    CommandLine line({"-t"});
    QCoreApplication app(line.count, line.argv());
    RecordingTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    translator.requests.clear();
    Options options;
    parseCommandLine(&app, options);

    const QStringList expected{"main: Patch Download URL",
                               "QCoreApplication: Terminal mode",
                               "QCoreApplication: List unapplied patches",
                               "QCoreApplication: Just list patches and whether they're applied",
                               "QCoreApplication: List but do not apply patches",
                               "QCoreApplication: Be more verbose",
                               "QCoreApplication: Allow updates when system is running",
                               "QCoreApplication: Send list of unapplied patchesto email address",
                               "QCoreApplication: For testing only - override release to patch."};
    QCOMPARE(translator.requests, expected);
}

int main(int argc, char** argv)
{
    forgetCallersEnvironment();
    QString error;
    if (!enterPrivateOpt(&error)) {
        qFatal("no private place to test in: %s", qUtf8Printable(error));
    }
    TstCommandline test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_commandline.moc"
