// The three functions of the program's entry: which application object a command line gets, and which options it sets.
// The entry's source is built into this test with its main renamed. Each test makes its own application object, which
// holds the arguments. Command lines that end the process are tested in tst_usage.
#include "tavrin_update.h"

#include "recording_translator.h"
#include "test.h"

#include <QApplication>
#include <QScopedPointer>

namespace {

using Options = TavrinUpdateBusinessLogic::CommandLineOptions;

// A command line as main() gets it.
struct CommandLine
{
    explicit CommandLine(const QStringList& arguments) : texts{"/usr/bin/tavrin_update"}, count(arguments.size() + 1)
    {
        for (const QString& argument : arguments) {
            texts << argument.toLocal8Bit();
        }
        for (QByteArray& text : texts) {
            words << text.data();
        }
        words << nullptr;
    }

    char** argv()
    {
        return words.data();
    }

    QList<QByteArray> texts;
    QVector<char*> words;
    int count;
};

// One line for all fields, so that a failed comparison shows them all.
QString describe(const Options& options)
{
    const auto word = [](bool isSet, const char* name) {
        return QString(isSet ? name : "");
    };
    return word(options.apply, "apply ") + word(options.showProposed, "showProposed ") +
           word(options.terminal, "terminal ") + word(options.listUnapplied, "listUnapplied ") +
           word(options.listAll, "listAll ") + word(options.verbose, "verbose ") +
           word(options.allowWhileRunning, "allowWhileRunning ") +
           QStringLiteral("email=%1 release=%2 url=%3").arg(options.email, options.release, options.url);
}

void parse(const QStringList& arguments, Options& options)
{
    CommandLine line(arguments);
    QCoreApplication app(line.count, line.argv());
    parseCommandLine(&app, options);
}

} // namespace

class TstCommandline : public Test
{
    Q_OBJECT

private slots:
    void terminalModeNeedsTheLiteralOption_data()
    {
        const Rows<QStringList, bool> row("arguments", "terminal");
        row("no arguments", {}, false);
        row("the option alone", {"-t"}, true);
        row("the option last", {"-l", "http://host.test/", "-t"}, true);
        row("other options", {"-l", "-L", "-n", "-v", "-Q"}, false);
        row("last in a cluster", {"-lt"}, false);
        row("first in a cluster", {"-tl"}, false);
        row("in capitals", {"-T"}, false);
        row("two dashes", {"--t"}, false);
        row("a long form", {"--terminal"}, false);
        row("no dash", {"t"}, false);
        row("a trailing space", {"-t "}, false);
        row("within a value", {"-m", "a-t"}, false);
        row("as the value of another option", {"-m", "-t"}, true);
        row("after the end of the options", {"--", "-t"}, true);
        row("an empty argument", {""}, false);
    }

    void terminalModeNeedsTheLiteralOption()
    {
        QFETCH(QStringList, arguments);
        CommandLine line(arguments);
        QTEST(isTerminal(line.count, line.argv()), "terminal");
    }

    void programNameIsNoOption()
    {
        char name[] = "-t";
        char* argv[] = {name, nullptr};
        QCOMPARE(isTerminal(1, argv), false);
        QCOMPARE(isTerminal(0, argv + 1), false);
    }

    void terminalRunGetsAPlainApplication()
    {
        CommandLine line({"-t"});
        const QScopedPointer<QCoreApplication> app(createApplication(true, line.count, line.argv()));
        QCOMPARE(app->metaObject()->className(), "QCoreApplication");
        QCOMPARE(QCoreApplication::instance(), app.data());
    }

    void windowRunGetsAGuiApplication()
    {
        CommandLine line({"-l"});
        const QScopedPointer<QCoreApplication> app(createApplication(false, line.count, line.argv()));
        QCOMPARE(app->metaObject()->className(), "QApplication");
        QCOMPARE(QCoreApplication::instance(), app.data());
    }

    void applicationTakesTheArguments()
    {
        // Qt removes its own options from the caller's count and array.
        CommandLine line({"-platform", "offscreen", "-l", "http://host.test/"});
        const QScopedPointer<QCoreApplication> app(createApplication(false, line.count, line.argv()));
        QCOMPARE(line.count, 3);
        QCOMPARE(QCoreApplication::arguments(), (QStringList{"/usr/bin/tavrin_update", "-l", "http://host.test/"}));
    }

    void newOptionsDescribeAVerboseTerminalRun()
    {
        Options options;
        options.showProposed = false; // the only field without a default
        QCOMPARE(describe(options), QStringLiteral("terminal verbose email= release= url="));
    }

    void optionsAreCopiedMemberWise()
    {
        Options options;
        parse({"-L", "-n", "-v", "-m", "a@host.test", "-r", "5.8", "http://host.test/"}, options);
        Options copy;
        copy = options;
        QCOMPARE(describe(copy), QStringLiteral("showProposed terminal listAll verbose email=a@host.test release=5.8 "
                                                "url=http://host.test/"));
        QCOMPARE(describe(copy), describe(options));
    }

    void commandLineFillsTheOptions_data()
    {
        const Rows<QStringList, QString> row("arguments", "options");
        const QString none = "email= release= url=";
        row("nothing", {}, "apply " + none);
        row("-t", {"-t"}, "apply terminal " + none);
        row("-l", {"-l"}, "terminal listUnapplied " + none);
        row("-L", {"-L"}, "terminal listAll " + none);
        row("-n", {"-n"}, "showProposed terminal " + none);
        row("-v", {"-v"}, "apply verbose " + none);
        row("-Q", {"-Q"}, "apply allowWhileRunning " + none);
        row("-m", {"-m", "a@host.test"}, "terminal email=a@host.test release= url=");
        row("-r", {"-r", "5.8"}, "apply email= release=5.8 url=");
        row("a URL", {"http://host.test/"}, "apply email= release= url=http://host.test/");
        row("two URLs", {"file:///one", "file:///two"}, "apply email= release= url=file:///one");
        row("an empty URL", {""}, "apply " + none);
        row("an empty URL before another", {"", "file:///two"}, "apply " + none);

        row("-l and -L", {"-l", "-L"}, "terminal listAll " + none);
        row("-L and -l", {"-L", "-l"}, "terminal listAll " + none);
        row("-l and -n", {"-l", "-n"}, "showProposed terminal listUnapplied " + none);
        row("-t and -Q", {"-t", "-Q"}, "apply terminal allowWhileRunning " + none);
        row("-Q and -l", {"-Q", "-l"}, "terminal listUnapplied " + none);
        row("-Q and -L", {"-Q", "-L"}, "terminal listAll " + none);
        row("-Q and -n", {"-Q", "-n"}, "showProposed terminal " + none);
        row("-Q and -m", {"-Q", "-m", "a"}, "terminal email=a release= url=");
        row("-Q and -r", {"-Q", "-r", "5.8"}, "apply allowWhileRunning email= release=5.8 url=");
        row("-v and -l", {"-v", "-l"}, "terminal listUnapplied verbose " + none);
        row("an empty address", {"-m", ""}, "apply " + none);
        row("an empty address and -Q", {"-m", "", "-Q"}, "apply allowWhileRunning " + none);
        row("an empty release", {"-r", ""}, "apply " + none);
        row("an address that looks like an option", {"-m", "-t"}, "terminal email=-t release= url=");
        row("an address within its option", {"-ma@host.test"}, "terminal email=a@host.test release= url=");
        row("two addresses, of which the last counts", {"-m", "a", "-m", "b"}, "terminal email=b release= url=");
        row("two addresses, the last empty", {"-m", "a", "-m", ""}, "apply " + none);
        row("a cluster", {"-lt"}, "terminal listUnapplied " + none);
        row("a cluster of all flags", {"-tlLnvQ"}, "showProposed terminal listAll verbose " + none);
        row("options after the URL", {"file:///one", "-l"}, "terminal listUnapplied email= release= url=file:///one");
        row("a URL after the end of the options", {"-t", "--", "-l"}, "apply terminal email= release= url=-l");
        row("an option given twice", {"-n", "-n"}, "showProposed terminal " + none);
        row("everything", {"-t", "-l", "-L", "-n", "-v", "-Q", "-m", "a", "-r", "5.8", "file:///one", "file:///two"},
            "showProposed terminal listAll verbose email=a release=5.8 url=file:///one");
    }

    void commandLineFillsTheOptions()
    {
        QFETCH(QStringList, arguments);
        Options parsed;
        parse(arguments, parsed);
        QTEST(describe(parsed), "options");
    }

    void absentOptionsClearOrKeepEarlierValues()
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

    void keptListAllForcesTerminalMode()
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

    void everyTextIsOfferedForTranslation()
    {
        CommandLine line({"-t"});
        QCoreApplication app(line.count, line.argv());
        RecordingTranslator translator(RecordingTranslator::noAnswer);
        QVERIFY(QCoreApplication::installTranslator(&translator));
        translator.takeTexts();
        Options options;
        parseCommandLine(&app, options);
        QCOMPARE(
            translator.takeTexts(),
            QStringList{"main|Patch Download URL"} +
                inContext("QCoreApplication",
                          {"Terminal mode", "List unapplied patches", "Just list patches and whether they're applied",
                           "List but do not apply patches", "Be more verbose", "Allow updates when system is running",
                           "Send list of unapplied patchesto email address",
                           "For testing only - override release to patch."}));
    }
};

int main(int argc, char** argv)
{
    if (!enterTestPlace(argv)) {
        return 1;
    }
    TstCommandline test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_commandline.moc"
