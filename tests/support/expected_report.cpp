// The report's shape, written out once for all tests. The platform's names are Qt's, as in the program.
#include "expected_report.h"

#include <QSysInfo>

QByteArray headerLine(const QString& releaseText, const QString& program)
{
    return QStringLiteral("%1 Tavrin Release %2 %3 %4\n")
        .arg(program, releaseText, QSysInfo::prettyProductName(), QSysInfo::kernelVersion())
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
