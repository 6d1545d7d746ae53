// Fuzzes the functions that take a text and give one: URLs, the layout of descriptions and messages, names of archives,
// fields of running systems, the redirect test. The first byte chooses the function, the rest is its text. Each result
// is compared with the rule in another form, or with what follows from it.
#include "choices.h"
#include "fuzz_start.h"
#include "page_reply.h"
#include "tavrin_update_bl.h"
#include "tavrin_update_systeminfo.h"

#include <QUrl>

#include <algorithm>
#include <memory>

namespace {

using Logic = TavrinUpdateBusinessLogic;

constexpr std::size_t FIELD_SIZE = sizeof(Pidrtsys::version);

// The versions of the running systems that the business logic sees.
QList<QByteArray>& runningVersions()
{
    static QList<QByteArray> versions;
    return versions;
}

/** A business logic in window mode that notes its progress; it stops at its first checks, which is far enough. */
struct TextLogic : Logic
{
    explicit TextLogic(const QByteArray& installation = QByteArray()) : Logic(QStringLiteral("tavrin_update"))
    {
        connect(this, &Logic::appendProgress, this, [this](const QString& text) { progress << text; });
        CommandLineOptions windowOptions;
        windowOptions.showProposed = false;
        windowOptions.terminal = false;
        qputenv("TAVRIN", installation);
        require(!initialize(windowOptions).isEmpty(), "there is no installation");
    }

    QStringList progress;
};

// Sometimes text as it is stored in memory, which can have halves of surrogate pairs.
QString textOf(Choices& choices)
{
    const bool isStored = choices.once(4);
    const QByteArray bytes = choices.remaining();
    if (!isStored) {
        return QString::fromUtf8(bytes.constData(), bytes.size()); // beyond a NUL as well
    }
    QString text(bytes.size() / 2, Qt::Uninitialized);
    std::copy_n(bytes.constData(), text.size() * 2, reinterpret_cast<char*>(text.data()));
    return text;
}

void checkUrl(const QString& text)
{
    TextLogic logic;
    const QString before = logic.getCurrentUrlString();
    QString expected = text;
    if (QUrl(text, QUrl::TolerantMode).isLocalFile() && text.toLower().endsWith(QStringLiteral("/index.html"))) {
        expected = text.left(text.size() - 10);
    }
    if (expected.right(1) != QStringLiteral("/")) {
        expected.append(QLatin1Char('/'));
    }
    const QUrl url(expected, QUrl::TolerantMode);
    if (!url.isValid()) {
        compare(logic.validateCurrentUrl(text),
                QStringLiteral("Url '") + expected + QStringLiteral("' is invalid.\n") + url.errorString(),
                "the message about a URL");
        compare(logic.getCurrentUrlString(), before, "the URL in use after a message");
        return;
    }
    compare(logic.validateCurrentUrl(text), QString(), "the message about a good URL");
    compare(logic.getCurrentUrlString(), expected, "the URL in use");
    require(logic.urlIsOverridden() == (expected != logic.getDefaultUrlString()), "another URL than the default");
    compare(logic.validateCurrentUrl(expected), QString(), "the message about a URL that was accepted before");
    compare(logic.getCurrentUrlString(), expected, "the URL in use, given once more");
}

void checkReflow(const QString& text)
{
    TextLogic logic;
    const QString reflowed = logic.formatForGui(text);
    compare(reflowed.size(), text.size() + 1, "the length of a reflowed text");
    for (int i = 0; i < reflowed.size(); ++i) {
        const bool isLineEnd = i == text.size() || text.at(i) == QLatin1Char('\n');
        const bool endsSentence = i > 0 && text.at(i - 1) == QLatin1Char('.');
        const QChar separator = endsSentence ? QLatin1Char('\n') : QLatin1Char(' ');
        require(reflowed.at(i) == (isLineEnd ? separator : text.at(i)), "only line breaks change in a reflowed text");
    }
}

void checkDescription(const QString& text)
{
    const TextLogic window;
    const QString single = window.formatPatchDescription(text);
    QStringList words{QString()};
    for (const QChar character : text) {
        if (!character.isSpace()) {
            words.last() += character;
        } else if (!words.last().isEmpty()) {
            words << QString();
        }
    }
    words.removeAll(QString());
    compare(single, words.join(QLatin1Char(' ')), "a description in the window");
    compare(window.formatPatchDescription(single), single, "a description in the window, laid out once more");
    const Logic terminal(QStringLiteral("tavrin_update")); // until it is told otherwise
    const QStringList lines = text.trimmed().split(QLatin1Char('\n'));
    compare(terminal.formatPatchDescription(text), QLatin1Char('\t') + lines.join(QStringLiteral("\n\t")),
            "a description in a terminal");
}

void checkHeading(const QString& heading)
{
    TextLogic logic;
    logic.addPatchToList(QStringLiteral("P1"), heading, true, QString(), QString());
    require(logic.nextPatch() && logic.patchIsInstalled(), "one patch, which is installed");
    const QString name = heading.split(QLatin1Char(' ')).first();
    const bool hasDate = name.size() < heading.size();
    compare((hasDate ? name : QString()) + logic.getPatchDate(), heading, "name and date of a heading");
    require(!logic.nextPatch(), "only one patch");
}

void checkArchiveName(const QString& name)
{
    const TextLogic logic;
    bool expected = false;
    for (const char* suffix : {".bz2", ".tar", ".gz", ".gzip", ".Z"}) {
        const QString text = QString::fromLatin1(suffix);
        expected = expected || name.right(text.size()) == text;
    }
    require(logic.isArchive(name) == expected, "an archive is what has one of the suffixes");
}

// Which of some patches an archive marks: the first whose name begins with the archive's up to its first dot.
void checkMark(Choices& choices)
{
    QStringList names{choices.bytes(12), choices.bytes(12), choices.bytes(12)};
    const QString file = textOf(choices);
    names << file.left(3) << file.toUpper();
    TextLogic logic;
    for (const QString& name : qAsConst(names)) {
        logic.addPatchToList(name, name, false, name, name);
    }
    const QFileInfo archive(QStringLiteral("/opt/tavrin/5.9/patches"), file);
    logic.setPatchApplied(archive);
    const QString key = archive.baseName().toLower();
    const auto marked = std::find_if(names.cbegin(), names.cend(),
                                     [&key](const QString& name) { return name.toLower().startsWith(key); });
    for (auto name = names.cbegin(); logic.nextPatch(); ++name) {
        compare(logic.getPatchName(), *name, "the name of a patch");
        require(logic.patchIsInstalled() == (name == marked), "the first patch of that name is marked, and no other");
    }
    const QString complaint =
        QStringLiteral("Internal error: Failed to mark update ") + archive.fileName() + QStringLiteral(" applied.");
    compare(logic.progress, marked == names.cend() ? QStringList{complaint} : QStringList(), "the complaint");
}

void checkTitle(const QByteArray& name)
{
    QByteArray installation = "/opt/tavrin/none/" + name.left(name.indexOf('\0'));
    TextLogic logic(installation);
    const QString release = QString::fromUtf8(installation).section(QLatin1Char('/'), -1);
    compare(logic.getTavrinRelease(), release, "the release");
    const QString title = QStringLiteral("Update Tavrin version '") + release + QLatin1Char('\'');
    compare(logic.getWindowTitle(), QString::fromUtf8(title.toUtf8()), "the title");
}

void checkRedirect(Choices& choices)
{
    const int hundreds = choices.below(4);
    const int status = hundreds * 100 + choices.below(100);
    PageReply reply((QByteArray()));
    reply.setStatus(status);
    TextLogic logic;
    const QList<int> redirects{301, 302, 303, 305, 307, 308};
    require(logic.isHttpRedirect(&reply) == redirects.contains(status), "which statuses are redirects");
}

// A version that fills its field has no NUL at its end.
void checkConflict(Choices& choices)
{
    TextLogic logic("/opt/tavrin/5.9");
    bool conflict = false;
    const int count = choices.below(4);
    for (int i = 0; i < count; ++i) {
        const QByteArray field = joined({choices.once(2) ? QByteArray("5.9") : choices.bytes(8), choices.bytes(2),
                                         QByteArray(choices.once(4) ? static_cast<int>(FIELD_SIZE) : 0, 'x')});
        runningVersions() << field.leftJustified(FIELD_SIZE, '\0', true);
        conflict = conflict || qstrcmp(field.constData(), "5.9") == 0;
    }
    logic.refreshRealTimeSystems();
    runningVersions().clear();
    const QString warning = QStringLiteral("WARNING: A running Tavrin Real Time System of version '5.9' was detected.\n"
                                           "You must stop any instances of Tavrin before applying patches.\n");
    compare(logic.informStopTavrin(), conflict ? warning : QString(), "the warning about running systems");
    QStringList progress{QStringLiteral("Check for running real time systems ...")};
    if (!conflict) {
        progress << QStringLiteral("No running Tavrin Real Time System of version '5.9' detected.");
    }
    compare(logic.progress, progress, "the progress while looking for running systems");
}

} // namespace

// Called in place of the function of the installation's library.
extern "C" int pidrtsys(Pidrtsys** systems)
{
    const QList<QByteArray>& versions = runningVersions();
    *systems = nullptr;
    if (versions.isEmpty()) {
        return 0;
    }
    // The version is near the end of a record, and the last record at the end of its block.
    *systems = static_cast<Pidrtsys*>(std::calloc(static_cast<std::size_t>(versions.count()), sizeof(Pidrtsys)));
    for (int i = 0; i < versions.count(); ++i) {
        std::copy_n(versions.at(i).constData(), FIELD_SIZE, (*systems)[i].version);
        (*systems)[i].rtexecPid = -1;
    }
    return versions.count();
}

int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzing<QCoreApplication>(*argc, *argv);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Choices choices(inputOf(data, size));
    switch (choices.below(9)) {
    case 0:
        checkUrl(textOf(choices));
        break;
    case 1:
        checkReflow(textOf(choices));
        break;
    case 2:
        checkDescription(textOf(choices));
        break;
    case 3:
        checkHeading(textOf(choices));
        break;
    case 4:
        checkArchiveName(textOf(choices));
        break;
    case 5:
        checkMark(choices);
        break;
    case 6:
        checkTitle(choices.remaining());
        break;
    case 7:
        checkRedirect(choices);
        break;
    default:
        checkConflict(choices);
        break;
    }
    return 0;
}
