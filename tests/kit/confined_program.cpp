// util-linux makes the namespace and changes the user. A script inside starts the bystander first and checks at the end
// that it still runs. When the tests themselves were started by an ordinary user, the user is not changed: the limit
// applies to that user.
#include "confined_program.h"

#include "test_paths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

const QString FOLDER = "/opt/confined";

// No account of the machine and no other test has this number, so no other process counts as a task of it.
const QString AS_USER = "setpriv --reuid=54322 --regid=54322 --clear-groups";

const QString SCRIPT = QStringLiteral(R"script(
mkfifo "$HOME/up"
$AS_USER sh -c 'echo up; exec sleep 600' > "$HOME/up" &
bystander=$!
read up < "$HOME/up"
own=$HOME/own
$AS_USER mkdir -m 700 "$own"
$AS_USER env "HOME=$own" "XDG_RUNTIME_DIR=$own" "LD_PRELOAD=$PRELOAD" "$@"
status=$?
$AS_USER rm -r "$own"
exec 3>&2 2> /dev/null # the shell's own word about the end of the bystander
kill $bystander
wait $bystander
[ $? -eq 143 ] || echo 'the bystander was killed' >&3
exit $status
)script");

void setMode(const QString& path, mode_t mode)
{
    if (::chmod(QFile::encodeName(path).constData(), mode) != 0) {
        qFatal("cannot set the mode of %s", qUtf8Printable(path));
    }
}

// The destructor removes the folder, so it must be a new one.
QString madeFolder()
{
    if (!QDir().mkdir(FOLDER)) {
        qFatal("cannot make %s", qUtf8Printable(FOLDER));
    }
    setMode(FOLDER, 0755);
    return FOLDER;
}

QString copied(const QString& file)
{
    const QString copy = FOLDER + '/' + QFileInfo(file).fileName();
    copyForEveryUser(file, copy);
    return copy;
}

bool isRootOfTheMachine()
{
    QFile map("/proc/self/uid_map");
    return map.open(QIODevice::ReadOnly) && map.readAll().simplified().startsWith("0 0 ");
}

} // namespace

ConfinedProgram::ConfinedProgram() : program("unshare"), copy(madeFolder()), starter(copied(starterPath()))
{
    setMode(program.home(), 0777); // the fake library writes its record there
    const QString preload = copied(fakePidrtsysPath());
    program.unset("LD_PRELOAD").set("LD_LIBRARY_PATH", copy.libraryFolder());
    program.set("PRELOAD", QStringList{sanitizerRuntimePath(), preload}.join(' ').trimmed());
    program.set("AS_USER", isRootOfTheMachine() ? AS_USER : QString());
    // The leak check starts a process, which the limit would refuse.
    program.set("ASAN_OPTIONS", "detect_leaks=0");
}

ConfinedProgram::~ConfinedProgram()
{
    QDir(FOLDER).removeRecursively();
}

void ConfinedProgram::admitTo(const FakeInstallation& installation) const
{
    setMode(installation.path(), 0777);
    QDirIterator folders(installation.path(), QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (folders.hasNext()) {
        setMode(folders.next(), 0777);
    }
}

void ConfinedProgram::admitTo(const LocalSource& source) const
{
    setMode(source.path(), 0755);
}

QStringList ConfinedProgram::confined(const QString& executable, const QStringList& arguments)
{
    return QStringList{"--pid", "--fork", "--kill-child", "sh", "-c", SCRIPT, "sh", executable} + arguments;
}

ProgramRun ConfinedProgram::run(const QStringList& arguments)
{
    return program.run(confined(copy.program(), arguments));
}

std::unique_ptr<ProgramSession> ConfinedProgram::start(const QStringList& arguments)
{
    return program.start(confined(copy.program(), arguments));
}

ProgramRun ConfinedProgram::runStarter(const QStringList& arguments)
{
    return program.run(confined(starter, arguments));
}
