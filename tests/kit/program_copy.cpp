// The build finds the library in ../pidrtsys, unless it was linked to one elsewhere.
#include "program_copy.h"

#include "helper_run.h"
#include "test_paths.h"

#include <QDir>
#include <QFileInfo>

ProgramCopy::ProgramCopy(const QString& folder)
    : programCopy(folder + QStringLiteral("/app/tavrin_update")), libraries(folder + QStringLiteral("/pidrtsys"))
{
    const QString fromProgram = QFileInfo(programPath()).dir().relativeFilePath(modulePath());
    moduleCopy = QDir::cleanPath(QFileInfo(programCopy).dir().filePath(fromProgram));
    copyForEveryUser(programPath(), programCopy);
    copyForEveryUser(modulePath(), moduleCopy);
    copyForEveryUser(pidrtsysPath(), libraries + QStringLiteral("/libpidrtsys.so"));
}

void copyForEveryUser(const QString& file, const QString& copy)
{
    requireHelper(QStringLiteral("install"), {QStringLiteral("-D"), QStringLiteral("--mode=755"),
                                              QStringLiteral("--no-target-directory"), file, copy});
}
