// The limit for a listing run: the same output for a well-formed page with as little as the same Qt classes allow. One
// manager, one request, one loop over the tokens. It keeps what the program has to keep of each patch, checks nothing
// and cannot do anything else.
#include <QCoreApplication>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>
#include <QSysInfo>
#include <QVector>
#include <QXmlStreamReader>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

struct Patch
{
    QString name;
    QString heading;
    QString link;
    QString description;
};

} // namespace

Q_DECLARE_TYPEINFO(Patch, Q_MOVABLE_TYPE); // a growing vector then moves its memory as a whole

namespace {

// QStringRef::toString() would share the reader's buffer, with all the room that this has.
QString exactCopy(const QStringRef& text)
{
    return QString(text.data(), text.size());
}

void print(const char* bytes, int size)
{
    std::fwrite(bytes, 1, static_cast<std::size_t>(size), stdout);
}

void print(const QByteArray& bytes)
{
    print(bytes.constData(), bytes.size());
}

// Prints each line of the text after a tab.
void printIndented(const QByteArray& text)
{
    int start = 0;
    int end = 0;
    while (end >= 0) {
        end = text.indexOf('\n', start);
        std::fputc('\t', stdout);
        print(text.constData() + start, (end < 0 ? text.size() : end + 1) - start);
        start = end + 1;
    }
}

QVector<Patch> readPatches(QNetworkReply* reply)
{
    enum class Entry
    {
        Outside,
        ListItem,
        BlockQuote
    };
    QVector<Patch> patches;
    QXmlStreamReader page(reply);
    Patch patch;
    Entry entry = Entry::Outside;
    while (!page.atEnd()) {
        const auto token = page.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (page.name() == QLatin1String("li")) {
                entry = Entry::ListItem;
            } else if (page.name() == QLatin1String("blockquote")) {
                entry = Entry::BlockQuote;
            }
            const auto attributes = page.attributes();
            if (!attributes.isEmpty()) {
                patch.link = exactCopy(attributes.value(QLatin1String("href")));
            }
        } else if (token == QXmlStreamReader::Characters && entry != Entry::Outside && !page.isWhitespace()) {
            const QString text = exactCopy(page.text().trimmed());
            if (entry == Entry::ListItem) {
                patch.heading = text;
            } else {
                patch.name = patch.heading.left(patch.heading.indexOf(QLatin1Char(' ')));
                patch.description = text;
                patches.append(std::move(patch));
                patch = Patch();
                entry = Entry::Outside;
            }
        }
    }
    return patches;
}

void printReport(const QDir& installation, const QVector<Patch>& patches)
{
    const QStringList markers = QDir(installation.filePath("patched")).entryList(QDir::Files, QDir::NoSort);
    const QSet<QString> applied(markers.cbegin(), markers.cend());
    print(("tavrin_update Tavrin Release " + installation.dirName() + ' ' + QSysInfo::prettyProductName() + ' ' +
           QSysInfo::kernelVersion() + '\n')
              .toLocal8Bit());
    for (const Patch& patch : patches) {
        if (!applied.contains(patch.name)) {
            std::fputs("\nNot Installed: ", stdout);
            print(patch.name.toLocal8Bit());
            std::fputc('\n', stdout);
            printIndented(patch.description.toLocal8Bit());
            std::fputc('\n', stdout);
        }
    }
    std::fputc('\n', stdout);
}

} // namespace

// Usage: limit_list INSTALLATION URL_OF_PAGE
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setLibraryPaths({}); // without Qt's plug-ins, as the program in a terminal
    const QDir installation(QFile::decodeName(argv[1]));
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.get(QNetworkRequest(QUrl(QString::fromLocal8Bit(argv[2]))));
    QObject::connect(reply, &QNetworkReply::finished, [reply, &installation] {
        printReport(installation, readPatches(reply));
        std::fflush(stdout);
        std::_Exit(0); // nothing has to be taken down
    });
    return QCoreApplication::exec();
}
