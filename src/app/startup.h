#pragma once

#include <QString>

/// The whole program: sets identity and look, shows the main window, runs the
/// event loop and returns its result. Called once, from main().
int runVela(int& argc, char** argv);

/// Gives the application the widget style of that name. Where there is none, it keeps the
/// platform's own and nothing is said.
void applyStyle(const QString& name);
