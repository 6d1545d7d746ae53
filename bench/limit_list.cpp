// The limit for a listing run: the same output for a well-formed page with as little as the same Qt classes allow. One
// manager, one request, one loop over the tokens. It checks nothing and cannot do anything else.
#include <QCoreApplication>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>
#include <QSysInfo>
#include <QVector>
#include <QXmlStreamReader>

#include <cstdio>

namespace {

struct Patch
{
    QString name;
    QString heading;
    QString link;
    QString description;
};

void print(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

QVector<Patch> readPatches(QNetworkReply* reply)
{
    QVector<Patch> patches;
    QXmlStreamReader page(reply);
    Patch patch;
    int state = 0;
    while (!page.atEnd()) {
        const auto token = page.readNext();
        if (token == QXmlStreamReader::StartElement) {
            state = page.name() == QLatin1String("li") ? 1 : page.name() == QLatin1String("blockquote") ? 2 : state;
            patch.link += page.attributes().value(QLatin1String("href"));
        } else if (token == QXmlStreamReader::Characters && state != 0 && !page.isWhitespace()) {
            const QStringRef text = page.text().trimmed();
            if (state == 1) {
                patch.heading = QString(text.data(), text.size());
            } else {
                patch.name = patch.heading.left(patch.heading.indexOf(QLatin1Char(' ')));
                patch.description = QString(text.data(), text.size());
                patches.append(patch);
                patch = Patch();
                state = 0;
            }
        }
    }
    return patches;
}

} // namespace

// Usage: limit_list INSTALLATION URL_OF_PAGE
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setLibraryPaths({});
    const QDir installation(QFile::decodeName(argv[1]));
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.get(QNetworkRequest(QUrl(QString::fromLocal8Bit(argv[2]))));
    QObject::connect(reply, &QNetworkReply::finished, [&] {
        const QVector<Patch> patches = readPatches(reply);
        print("tavrin_update Tavrin Release " + installation.dirName() + ' ' + QSysInfo::prettyProductName() + ' ' +
              QSysInfo::kernelVersion() + '\n');
        const QStringList markers = QDir(installation.filePath("patched")).entryList(QDir::Files, QDir::NoSort);
        const QSet<QString> applied(markers.cbegin(), markers.cend());
        for (const Patch& patch : patches) {
            if (!applied.contains(patch.name)) {
                print("\nNot Installed: " + patch.name + "\n\t" + patch.description + '\n');
            }
        }
        print("\n");
        std::fflush(stdout);
        QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}
