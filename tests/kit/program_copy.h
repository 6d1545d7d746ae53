// A copy of the built program that a test can change or put where another user can read it.
#pragma once

#include <QString>

/** The program, its module and its library, in the same places relative to each other as in the build. */
class ProgramCopy
{
public:
    /** Copies them below a folder; every user can read what is made. */
    explicit ProgramCopy(const QString& folder);

    /** The copy of the program. */
    QString program() const
    {
        return programCopy;
    }

    /** Where that looks for the module of the window, which is there. */
    QString module() const
    {
        return moduleCopy;
    }

    /** The folder of the library that it is linked to. */
    QString libraryFolder() const
    {
        return libraries;
    }

private:
    QString programCopy;
    QString moduleCopy;
    QString libraries;
};

/** Copies a file for every user to read and run, and makes the folders for it. A failure ends the test program. */
void copyForEveryUser(const QString& file, const QString& copy);
