// Where the built program, the preloaded libraries and the project's folders are. The build defines the paths for the
// one source of this header, so that no test contains any.
#pragma once

#include <QString>

/** The built tavrin_update. */
QString programPath();

/** The module of the window, in the place where the built program looks for it. */
QString modulePath();

/** The library that replaces the installation's own in a started program. */
QString fakePidrtsysPath();

/** The library that has threads start late in a started program. */
QString lateThreadsPath();

/** The program that starts others through the business logic. */
QString starterPath();

/** The library that the built program is linked to: the stand-in, or the installation's own. */
QString pidrtsysPath();

/** The library that has a started program note the texts that it translates. */
QString textRecorderPath();

/** The folder of the project's sources. */
QString projectSourceDir();

/** The folder of this build. */
QString projectBinaryDir();

/** The address sanitizer's runtime; empty when this build is not sanitized. */
QString sanitizerRuntimePath();

/** The host of the patch server that the program was built for. */
QString patchServerHost();
