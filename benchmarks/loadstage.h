#pragma once

#include "app/vela.h"
#include "loopwatch.h"

#include <QObject>
#include <QString>

#include <functional>
#include <vector>

class WaveformView;

/// What one stretch of use has shown.
struct Figures {
    double seconds = 0;
    double longestGapMs = 0;
    double longestWorkMs = 0;
    double headPaints = 0;  ///< repaints of a waveform, and so of its play head, a second
    double headMoves = 0;   ///< of these, with the play head at a new frame, a second
    double corePercent = 0; ///< of one core, all threads
    double paintMedianMs = 0;
    double paintLongestMs = 0;
    double underruns = 0;
    double droppedSamples = 0; ///< captured ones that the input ring had no room for
};

/// The editor's real window with a project, watched while a hand that never
/// tires uses it. Needs a display, and a sound server to play or record.
/// GUI thread; local event loops run in every operation.
class LoadStage : public QObject {
public:
    explicit LoadStage(PaintWatch& application);
    ~LoadStage() override;
    Q_DISABLE_COPY_MOVE(LoadStage)

    [[nodiscard]] Vela& window() { return m_window; }

    /// The first track's view, the topmost one; null without a track.
    [[nodiscard]] WaveformView* waveform();

    /// Lets the window live for some time.
    static void wait(int ms);

    /// Watches for `ms`. `first` runs inside the event loop at the beginning,
    /// `step`, if any, sixty times a second from then on.
    Figures watch(int ms, const std::function<void()>& first, const std::function<void()>& step);

    /// Starts or ends playback and recording. Ends the program when there is no
    /// device to do it with.
    void play(bool on);
    void record(bool on);

    /// Zooms by notches of the wheel at the middle of the first view. There must be one.
    void turnWheel(int notches);

    /// Moves the first view with the middle button held; `x` counts from the left.
    void dragMiddle(int fromX, int toX);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void notePaint();

    PaintWatch& m_application;
    Vela m_window;
    LoopWatch m_loop;
    qint64 m_shownHead = -1;
    int m_headPaints = 0;
    int m_headMoves = 0;
};

/// Bytes of this process that are in memory now.
double residentBytes();
