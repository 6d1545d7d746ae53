// A failure to make a page or an archive is not the result of a test, so it ends the test program.
#include "patch_source.h"

#include "helper_run.h"
#include "test_files.h"
#include "test_paths.h"

#include <QUrl>

PatchPage& PatchPage::entry(const QString& name, const QString& date, const QString& description, const QString& href)
{
    const QString link = href.isEmpty() ? name + QStringLiteral(".tar.gz") : href;
    return markup(QStringLiteral("<li><a href=\"%1\">%2 %3</a></li>\n<blockquote>%4</blockquote>\n")
                      .arg(link, name, date, description));
}

PatchPage& PatchPage::markup(const QString& text)
{
    entries += text;
    return *this;
}

QByteArray PatchPage::html() const
{
    return "<html><head><title>Patches</title></head><body>\n<!-- new patch list -->\n<ul>\n" + entries.toUtf8() +
           "</ul>\n</body></html>\n";
}

void PatchPage::writeTo(const QString& directory) const
{
    writeTestFile(directory + QStringLiteral("/index.html"), html());
}

PatchPage pageOf(int count)
{
    PatchPage page;
    for (int i = 1; i <= count; ++i) {
        page.entry(QStringLiteral("P%1").arg(i), "1 May 2020", QStringLiteral("description %1").arg(i));
    }
    return page;
}

PatchPage pageOf(const QStringList& names)
{
    PatchPage page;
    for (const QString& name : names) {
        page.entry(name, "1 January 2020", "Corrects " + name + ".", name + ".tar");
    }
    return page;
}

PatchPage pageWith(const QStringList& archives)
{
    PatchPage page;
    for (int i = 0; i < archives.size(); ++i) {
        page.entry(QStringLiteral("P%1").arg(i + 1), "1 May", "text", archives.at(i));
    }
    return page;
}

LocalSource::LocalSource(const PatchPage& page)
{
    page.writeTo(directory.path());
}

LocalSource& LocalSource::withFile(const QString& name, const QByteArray& content)
{
    writeTestFile(directory.filePath(name), content);
    return *this;
}

QString LocalSource::url() const
{
    return QUrl::fromLocalFile(directory.path()).toString() + QLatin1Char('/');
}

QString LocalSource::path() const
{
    return directory.path();
}

QByteArray archiveOf(const QString& member, const QByteArray& content)
{
    const auto octal = [](qint64 number, int width) {
        return QByteArray::number(number, 8).rightJustified(width - 1, '0') + '\0';
    };
    const QByteArray name = member.toUtf8();
    if (name.size() > 100) {
        qFatal("cannot store the long name %s", qUtf8Printable(member));
    }
    const QByteArray before = name.leftJustified(100, '\0') + octal(0644, 8) + octal(0, 8) + octal(0, 8) +
                              octal(content.size(), 12) + octal(1577836800, 12);
    const QByteArray after = QByteArray("0").leftJustified(101, '\0') + QByteArray("ustar\00000", 8);
    // The checksum is computed with blanks in its own field.
    const QByteArray summed = before + "        " + after;
    qint64 sum = 0;
    for (const char byte : summed) {
        sum += static_cast<unsigned char>(byte);
    }
    const int block = 512;
    QByteArray archive = (before + octal(sum, 7) + " " + after).leftJustified(block, '\0') + content;
    archive += QByteArray((block - content.size() % block) % block, '\0');
    return archive + QByteArray(2 * block, '\0');
}

QByteArray badArchive(const QString& name)
{
    static const QTemporaryDir folder;
    static const bool isMade = [] {
        requireHelper(projectSourceDir() + "/tests/corpus/make_bad_archives", {folder.path()});
        return true;
    }();
    Q_UNUSED(isMade)
    return contentOf(folder.filePath(name));
}
