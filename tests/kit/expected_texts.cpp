// The report's shape, written out once for all tests. The platform's names are Qt's, as in the program.
#include "expected_texts.h"

#include "helper_run.h"

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

QByteArray compactReportOf(const QString& releaseText, const QStringList& applied, const QStringList& missing)
{
    QByteArray report = headerLine(releaseText);
    for (const QString& name : applied) {
        report += "   " + name.toUtf8() + '\n';
    }
    for (const QString& name : missing) {
        report += "*  " + name.toUtf8() + '\n';
    }
    return report + (missing.isEmpty() ? "\nNo new patches\n" : "\n");
}

QByteArray overrideWarning(const QByteArray& installed, const QByteArray& given)
{
    return "*** WARNING: Your environment is for Tavrin release '" + installed +
           "',\nbut you are running tavrin_update with a release override of '" + given +
           "'.\nPatches will be listed but not applied.\n";
}

QByteArray systemDetected(const QByteArray& release)
{
    return "WARNING: A running Tavrin Real Time System of version '" + release + "' was detected.\n";
}

QByteArray noSystemDetected(const QByteArray& release)
{
    return "No running Tavrin Real Time System of version '" + release + "' detected.\n";
}

QByteArray untilDownload(int count, const QByteArray& answer)
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches.append({QStringLiteral("P%1").arg(i), QStringLiteral("text")});
    }
    return reportOf(QStringLiteral("5.9"), patches) + NO_CONFLICT + QUESTION + answer + DOWNLOAD;
}

QByteArray downloaded(const QList<QByteArray>& files)
{
    QByteArray text;
    for (const QByteArray& file : files) {
        text += "Downloaded " + file + '\n';
    }
    return text;
}

QByteArray untilUnpacking(const QList<QByteArray>& archives, const QByteArray& answer)
{
    return untilDownload(archives.size(), answer) + downloaded(archives) + APPLY;
}

QByteArray installing(const QByteArray& file, const QList<QByteArray>& members)
{
    QByteArray text;
    for (const QByteArray& member : members) {
        text += "x /opt/tavrin/5.9/" + member + '\n';
    }
    // The archive tool's listing ends in a line break of its own.
    return text + (members.isEmpty() ? "" : "\n") + " ** installed " + file + "\n\n";
}

QByteArray executing(const QByteArray& command)
{
    return "Executing system command: " + command + '\n';
}

QByteArray commandFailed(const QByteArray& command, const QByteArray& reason)
{
    return "System command '" + command + "' failed:\n  " + reason + '\n';
}

QByteArray commandMissing(const QByteArray& command)
{
    return commandFailed(command, startErrorOf("/nowhere/program").toUtf8());
}

QByteArray noWindow(const QByteArray& reason)
{
    return "tavrin_update: " + reason + "; option -t works without the window\n";
}

QByteArray invalidDirectory(const QByteArray& path)
{
    return "TAVRIN directory is invalid\n" + path + "\n\n";
}

QByteArray downloadFailed(const QByteArray& url, const QByteArray& reason)
{
    return "Download of " + url + " failed: " + reason + "\n\n";
}

QByteArray serverReplied(const QByteArray& url)
{
    return "Error transferring " + url + " - server replied: As told";
}

QByteArray failedToRead(const QString& url, const QString& reason)
{
    return QStringLiteral("Failed to read patches from\n%1\n%2\n\n").arg(url, reason).toLatin1();
}

QByteArray notWritable(const QStringList& paths)
{
    return "To apply patches you must have write access to the TAVRIN directories\n(" +
           paths.join(QLatin1Char('\n')).toUtf8() + ")\n\n";
}

QByteArray nonStandardLocation(const QString& path)
{
    return "tavrin_update cannot install patches for TAVRIN in non-standard location\n'" + path.toUtf8() +
           "'\nYou must copy and install by hand\n";
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
