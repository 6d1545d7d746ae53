// Made from the same pieces as the report, so that a whole output can be put together.
#include "expected_steps.h"

#include "expected_report.h"

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
