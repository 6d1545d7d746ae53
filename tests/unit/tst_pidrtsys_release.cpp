// The release in the stand-in library's record of a running system: from the environment, from the path of the program,
// or the caller's release. A copy of this program runs as another user, from whom the environment is hidden.
#include "helper_run.h"
#include "listed_systems.h"

#include <cstdio>

#include <grp.h>
#include <sys/prctl.h>

namespace {

constexpr uid_t NOBODY = 65534;

// Readable environments without a release.
const QList<QPair<QByteArray, QByteArrayList>> NAMELESS_ENVIRONMENTS = {
    {"only slashes", {"TAVRIN=//"}},
    {"empty", {"TAVRIN="}},
    {"unset", {"LANG=C"}},
    {"no environment", {}},
    {"longer name", {"TAVRIN_HOME=/opt/tavrin/5.8"}},
    {"name with the same end", {"MY_TAVRIN=/opt/tavrin/5.8"}},
};

// Prints the library's answer to another user.
int lookAs(uid_t user)
{
    // A change of the user makes the process undumpable, but the sanitizer's leak check needs a dumpable one.
    if (setgroups(0, nullptr) != 0 || setresuid(user, user, user) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0) {
        return 1;
    }
    printf("%s", answer().constData());
    return 0;
}

} // namespace

class TstPidrtsysRelease : public PidrtsysTest
{
    Q_OBJECT

private slots:
    void versionIsTheLastComponentOfTavrin_data()
    {
        const Rows<QByteArrayList, QByteArray> row("environment", "version");
        row("plain", {"TAVRIN=/opt/tavrin/5.9"}, "5.9");
        row("trailing slash", {"TAVRIN=/opt/tavrin/5.9/"}, "5.9");
        row("several trailing slashes", {"TAVRIN=/opt/tavrin/5.9///"}, "5.9");
        row("another directory", {"TAVRIN=/home/me/5.9p"}, "5.9p");
        row("without a slash", {"TAVRIN=DEV"}, "DEV");
        row("trailing space", {"TAVRIN=/opt/tavrin/5.9 "}, "5.9 ");
        row("not ASCII", {"TAVRIN=/opt/tavrin/5.9\xc3\xa9"}, "5.9\xc3\xa9");
        row("among others", {"A=" + QByteArray(20000, 'a'), "TAVRIN=/opt/tavrin/5.9", "B=b"}, "5.9");
        row("set twice, as getenv sees it", {"TAVRIN=/opt/tavrin/5.9", "TAVRIN=/opt/tavrin/5.8"}, "5.9");
        for (const auto& [description, environment] : NAMELESS_ENVIRONMENTS) {
            row("from the program's path: " + description, environment, "1.0");
        }
    }

    void versionIsTheLastComponentOfTavrin()
    {
        QFETCH(QByteArrayList, environment);
        // A release in the environment takes precedence over the one in the path.
        QTEST(recordOfStarted(systemStart(environment, "/opt/tavrin/1.0/bin/rtexec")).version, "version");
    }

    void overLongVersionIsCutBetweenCharacters_data()
    {
        const Rows<QByteArray, QByteArray> row("component", "version");
        const QByteArray accented = "\xc3\xa9";
        const QByteArray euro = "\xe2\x82\xac";
        const QByteArray clef = "\xf0\x9d\x84\x9e";
        row("just fits", QByteArray(1027, 'x'), QByteArray(1027, 'x'));
        row("one too long", QByteArray(1028, 'x'), QByteArray(1027, 'x'));
        row("far too long", QByteArray(100000, 'x'), QByteArray(1027, 'x'));
        row("two bytes, halved", accented.repeated(600), accented.repeated(513));
        row("two bytes, at an edge", 'x' + accented.repeated(600), 'x' + accented.repeated(513));
        row("three bytes, after the first", euro.repeated(400), euro.repeated(342));
        row("three bytes, after the second", "xx" + euro.repeated(400), "xx" + euro.repeated(341));
        row("four bytes, after the third", clef.repeated(300), clef.repeated(256));
        row("no UTF-8", QByteArray(2000, '\x80'), QByteArray(1027, '\x80'));
    }

    void overLongVersionIsCutBetweenCharacters()
    {
        QFETCH(QByteArray, component);
        const Listed record = recordOfStarted(systemStart({"TAVRIN=/opt/tavrin/" + component}));
        QTEST(record.version, "version");
        QCOMPARE(record.workingDirectory, QByteArray("/"));
    }

    void programPathDecidesWhenTheEnvironmentIsHidden_data()
    {
        // tavrin: of the calling process; null for none
        const Rows<QByteArray, QByteArray, QByteArray> row("firstArgument", "tavrin", "version");
        row("below a release", "/opt/tavrin/5.9/bin/rtexec", {}, "5.9");
        row("doubled slash", "/opt/tavrin//5.9//rtexec", {}, "5.9");
        row("not below it", "/usr/lib/rtexec", {}, {});
        row("name alone", "rtexec", {}, {});
        row("name alone, caller with a release", "rtexec", "/opt/tavrin/5.9", "5.9");
        row("in the directory of the releases", "/opt/tavrin/rtexec", {}, {});
        row("release itself", "/opt/tavrin/5.9/", {}, {});
        row("releases alone", "/opt/tavrin/", {}, {});
        row("longer name", "/opt/tavrinx/5.9/bin/rtexec", {}, {});
        row("below another folder", "/srv/opt/tavrin/5.9/bin/rtexec", {}, {});
        row("path with one dot", "/opt/tavrin/./5.9/rtexec", {}, {});
        row("path with two dots", "/opt/tavrin/../lib/rtexec", {}, {});
        row("empty", "", {}, {});
    }

    void programPathDecidesWhenTheEnvironmentIsHidden()
    {
        QFETCH(QByteArray, firstArgument);
        QFETCH(QByteArray, tavrin);
        QFETCH(QByteArray, version);
        if (geteuid() != 0) {
            QSKIP("only root can become another user");
        }
        const StartedProcess process(systemStart({"TAVRIN=/opt/tavrin/7.7"}, firstArgument));
        setTavrin(tavrin);
        const HelperRun outcome =
            runHelper(QCoreApplication::applicationFilePath(), {"--look-as", QString::number(NOBODY)});
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.status, 0);
        const Listed record = recordOf(process, outcome.output);
        QCOMPARE(record.pid, process.pid());
        QCOMPARE(record.version, version);
        QCOMPARE(record.userName, nameOf(0));
        QCOMPARE(record.workingDirectory, QByteArray()); // hidden as well
        QCOMPARE(recordOf(process).version, QByteArray("7.7"));
    }

    void unknownReleaseIsTakenFromTheCaller_data()
    {
        const Rows<QByteArrayList, QByteArray, QByteArray, QByteArray> row("environment", "firstArgument", "tavrin",
                                                                           "version");
        for (const auto& [description, environment] : NAMELESS_ENVIRONMENTS) {
            row(description, environment, "rtexec", "/opt/tavrin/5.9", "5.9");
        }
        // The caller compares this text with its own release, the text after the last slash in its TAVRIN.
        const QByteArrayList nothing = {"LANG=C"};
        row("caller: trailing slash", nothing, "rtexec", "/opt/tavrin/5.9/", {});
        row("caller: without a slash", nothing, "rtexec", "DEV", "DEV");
        row("caller: another directory", nothing, "rtexec", "/home/me/5.9 p", "5.9 p");
        row("caller: not ASCII", nothing, "rtexec", "/opt/tavrin/5.9\xc3\xa9", "5.9\xc3\xa9");
        row("caller: empty", nothing, "rtexec", "", {});
        row("caller: unset", nothing, "rtexec", {}, {});
        row("known from the environment", {"TAVRIN=/opt/tavrin/5.8"}, "rtexec", "/opt/tavrin/5.9", "5.8");
        row("known from the path", nothing, "/opt/tavrin/5.8/bin/rtexec", "/opt/tavrin/5.9", "5.8");
    }

    void unknownReleaseIsTakenFromTheCaller()
    {
        QFETCH(QByteArrayList, environment);
        QFETCH(QByteArray, firstArgument);
        QFETCH(QByteArray, tavrin);
        setTavrin(tavrin);
        QTEST(recordOfStarted(systemStart(environment, firstArgument)).version, "version");
    }

private:
    // Sets TAVRIN in this process, the caller of the library; a null value leaves it unset.
    static void setTavrin(const QByteArray& value)
    {
        if (!value.isNull()) {
            qputenv("TAVRIN", value);
        }
    }

    void tearDown() override
    {
        qunsetenv("TAVRIN");
    }
};

int main(int argc, char* argv[])
{
    if (argc == 3 && qstrcmp(argv[1], "--look-as") == 0) {
        return lookAs(QByteArray(argv[2]).toUInt());
    }
    forgetCallersEnvironment();
    return runTests<QCoreApplication, TstPidrtsysRelease>(argc, argv);
}
#include "tst_pidrtsys_release.moc"
