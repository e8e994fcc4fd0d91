#pragma once

/// The whole program: sets identity and look, shows the main window, runs the
/// event loop and returns its result. Called once, from main().
int runVela(int& argc, char** argv);
