// The report's shape, written out once for all tests. The platform's names are Qt's, as in the program.
#include "expected_texts.h"

#include <QSysInfo>

QByteArray headerLine(const QString& releaseText, const QString& program)
{
    const bool isDevelopment = releaseText.toLower() == QLatin1String("dev");
    const QString kind = isDevelopment ? QStringLiteral("Unreleased") : QStringLiteral("Release");
    return QStringLiteral("%1 Tavrin %2 %3 %4 %5\n")
        .arg(program, kind, releaseText, QSysInfo::prettyProductName(), QSysInfo::kernelVersion())
        .toUtf8();
}

QByteArray reportOf(const QString& releaseText, const QList<UnappliedPatch>& patches)
{
    QByteArray report = headerLine(releaseText);
    for (const UnappliedPatch& patch : patches) {
        QString description = patch.second;
        description.replace(QLatin1String("\n"), QLatin1String("\n\t"));
        report += QStringLiteral("\nNot Installed: %1\n\t%2\n").arg(patch.first, description).toUtf8();
    }
    report += "\n";
    return patches.isEmpty() ? report + "No new patches\n" : report;
}

QByteArray installingOf(const QString& member)
{
    // The archive tool's listing ends in a line break of its own.
    return "Download patch files ...\n"
           "Downloaded P1.tar\n"
           "\nApply patches to Tavrin installation ...\n\n"
           "x " +
           member.toUtf8() +
           "\n\n"
           " ** installed P1.tar\n\n"
           "\nUpdate applied_patches.html ...\n"
           "applied_patches.html updated\n"
           "\nYou may restart systems now\n";
}

QByteArray untilDownload(int count, const QByteArray& answer)
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches.append({QStringLiteral("P%1").arg(i), QStringLiteral("text")});
    }
    return reportOf(QStringLiteral("5.9"), patches) + NO_CONFLICT + QUESTION + answer + DOWNLOAD;
}

QByteArray installing(const QByteArray& file, const QList<QByteArray>& members)
{
    QByteArray text;
    for (const QByteArray& member : members) {
        text += "x /opt/tavrin/5.9/" + member + '\n';
    }
    return text + (members.isEmpty() ? "" : "\n") + " ** installed " + file + "\n\n";
}

QList<UnappliedPatch> patchesOf(int count)
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches << UnappliedPatch(QStringLiteral("P%1").arg(i), QStringLiteral("description %1").arg(i));
    }
    return patches;
}

QByteArray appliedPage(const QStringList& names)
{
    const QByteArray title = "Patches applied to Tavrin 5.9";
    QByteArray list;
    for (const QString& name : names) {
        list += "<dt>" + name.toUtf8() + "</dt>\n";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE html>\n<html "
           "xmlns=\"http://www.w3.org/1999/xhtml\">\n"
           "<head><title>" +
           title + "</title></head>\n<body>\n<h1>" + title + "</h1>\n" +
           (names.isEmpty() ? "<p>No patches are applied.</p>\n" : "<dl>\n" + list + "</dl>\n") + "</body>\n</html>\n";
}
