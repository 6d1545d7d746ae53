// Programs of the machine that a test runs itself: to make what a run is to find, to work out what it has to leave,
// and to learn what such a program says. The program under test is started by Program instead.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** What a helper left; the status is -1 unless it ended by itself. */
struct HelperRun
{
    int status = -1;
    QByteArray output;
    QByteArray errors;
};

/** Runs a helper to its end. */
HelperRun runHelper(const QString& program, const QStringList& arguments);

/** Runs a helper on which the test depends: its failure ends the test program. */
void requireHelper(const QString& program, const QStringList& arguments);

/** Why a program of this name cannot be started, in Qt's words. */
QString startErrorOf(const QString& program);
