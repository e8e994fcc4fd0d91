#pragma once

/// Has the program end, with exit code 0 and without cleaning up, as soon as a
/// window of its has been painted for the first time. Installs itself when the
/// application object is made: linking it is all that is needed.
void endAtFirstPaint();
