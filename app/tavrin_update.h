// The four free functions of the program's entry. They are declared here for the tests, which call three of them.
#pragma once

#include "tavrin_update_bl.h"

class QCoreApplication;

/** True when one of the arguments, the program's name aside, is exactly "-t". */
bool isTerminal(int argc, char** argv);

/**
 * Makes the application object, which the caller owns: without a display for a terminal run, with one otherwise.
 * `argc` and `argv` must outlive it.
 */
QCoreApplication* createApplication(bool terminal, int& argc, char** argv);

/**
 * Fills the options from the application's arguments. An unknown option or a missing value ends the process with Qt's
 * message and status 1.
 */
void parseCommandLine(QCoreApplication* app, TavrinUpdateBusinessLogic::CommandLineOptions& options);

int main(int argc, char** argv);
