// The program looks for the library in the folder above that of the module, unless it was linked to one elsewhere.
#include "program_copy.h"

#include "helper_run.h"
#include "test_paths.h"

#include <QDir>
#include <QFileInfo>

ProgramCopy::ProgramCopy(const QString& folder) : programCopy(folder + QStringLiteral("/app/tavrin_update"))
{
    const QString fromProgram = QFileInfo(programPath()).dir().relativeFilePath(modulePath());
    moduleCopy = QDir::cleanPath(QFileInfo(programCopy).dir().filePath(fromProgram));
    libraries = QDir::cleanPath(QFileInfo(moduleCopy).dir().filePath(QStringLiteral("..")));
    copyForEveryUser(programPath(), programCopy);
    copyForEveryUser(modulePath(), moduleCopy);
    copyForEveryUser(pidrtsysPath(), libraries + QStringLiteral("/libpidrtsys.so"));
}

void copyForEveryUser(const QString& file, const QString& copy)
{
    requireHelper(QStringLiteral("install"), {QStringLiteral("-D"), QStringLiteral("--mode=755"),
                                              QStringLiteral("--no-target-directory"), file, copy});
}
