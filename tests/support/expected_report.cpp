// The report's shape, written out once for all tests. The platform's names are Qt's, as in the program.
#include "expected_report.h"

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
