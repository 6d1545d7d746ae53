// The texts that a terminal run of the program prints about its list, for tests to compare whole outputs with.
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

/** The report's first line with its line break. The release text is the name, or what stands in its place. */
QByteArray headerLine(const QString& releaseText, const QString& program = QStringLiteral("tavrin_update"));

/** Name and description of a patch that the report says is not installed. */
using UnappliedPatch = QPair<QString, QString>;

/** The report without -L; ends with "No new patches" when none is given. */
QByteArray reportOf(const QString& releaseText, const QList<UnappliedPatch>& patches = {});

/** What an installing run prints from its downloads on, for one patch P1 whose archive P1.tar holds the one file. */
QByteArray installingOf(const QString& member);
