// The limit for an install from a folder: the same archives in patches/, the same programs run and the same lines
// printed from the downloads on, with as little as Qt allows. Each archive is copied as a file, and each program is one
// plain QProcess, of which both channels are read. It checks nothing and knows nothing of patches.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <cstdio>

namespace {

// Runs a program as the updater does: what it writes to standard error counts before its standard output.
void run(const QString& command, const QStringList& arguments)
{
    QProcess process;
    process.start(command, arguments);
    process.waitForFinished();
    QByteArray output = process.readAllStandardError();
    if (output.isEmpty()) {
        output = process.readAllStandardOutput();
    }
    if (!output.isEmpty()) {
        std::printf("%s\n", output.constData());
    }
}

} // namespace

// Usage: limit_tools INSTALLATION FOLDER COUNT, for the archives P0.tar.gz, P1.tar.gz and so on in the folder
int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const QDir installation(QFile::decodeName(argv[1]));
    const QDir source(QFile::decodeName(argv[2]));
    QStringList names;
    for (int i = 0; i < QByteArray(argv[3]).toInt(); ++i) {
        names.append(QStringLiteral("P%1.tar.gz").arg(i));
    }

    std::printf("Download patch files ...\n");
    for (const QString& name : qAsConst(names)) {
        QFile::copy(source.filePath(name), installation.filePath("patches/" + name));
        std::printf("Downloaded %s\n", name.toLocal8Bit().constData());
    }
    std::printf("\nApply patches to Tavrin installation ...\n\n");
    for (const QString& name : qAsConst(names)) {
        const QString archive = installation.filePath("patches/" + name);
        run("gunzip", {archive});
        run(installation.filePath("bin/bsdtar"), {"-xvPf", archive});
        std::printf(" ** installed %s\n\n", name.toLocal8Bit().constData());
    }
    std::printf("\nUpdate applied_patches.html ...\n");
    run("perl", {installation.filePath("bin/ozna_installed_patches")});
    std::printf("applied_patches.html updated\n\nYou may restart systems now\n");
    return 0;
}
