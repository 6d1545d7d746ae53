// The build defines the paths for this source alone.
#include "test_paths.h"

#include <QFile>

QString programPath()
{
    return QFile::decodeName(TAVRIN_UPDATE_PROGRAM);
}

QString modulePath()
{
    return QFile::decodeName(TAVRIN_UPDATE_MODULE_FILE);
}

QString fakePidrtsysPath()
{
    return QFile::decodeName(FAKE_PIDRTSYS_LIBRARY);
}

QString lateThreadsPath()
{
    return QFile::decodeName(LATE_THREADS_LIBRARY);
}

QString starterPath()
{
    return QFile::decodeName(STARTER_PROGRAM);
}

QString pidrtsysPath()
{
    return QFile::decodeName(PIDRTSYS_LIBRARY);
}

QString textRecorderPath()
{
    return QFile::decodeName(TEXT_RECORDER_LIBRARY);
}

QString projectSourceDir()
{
    return QFile::decodeName(PROJECT_SOURCE_DIR);
}

QString projectBinaryDir()
{
    return QFile::decodeName(PROJECT_BINARY_DIR);
}

QString sanitizerRuntimePath()
{
    return QFile::decodeName(SANITIZER_RUNTIME);
}

QString patchServerHost()
{
    return QStringLiteral(TAVRIN_PATCH_SERVER);
}
