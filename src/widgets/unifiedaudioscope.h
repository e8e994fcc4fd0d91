#pragma once

#include "widgets/tracerenderer.h"

#include <QColor>
#include <QImage>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class PopOut;
struct ScopeChannel;

/// Shows the monitored signal live as an oscilloscope, a spectrogram or a level
/// meter. A double-click or Return takes it out into a window of its own and back,
/// the context menu chooses the mode.
///
/// All on the window's thread, but for push(), which one other thread may call as
/// long as the channel count is not changed meanwhile. A tick in steady state
/// allocates nothing, the toolkit's timer and repaint request apart.
class UnifiedAudioScope : public QWidget {
    Q_OBJECT

public:
    enum class Mode : qint32 { Wave, Spectrum, Level };
    Q_ENUM(Mode)

    /// `clock` gives ms that never run backwards; left out, a steady clock of its own.
    explicit UnifiedAudioScope(QWidget* parent = nullptr, std::function<qint64()> clock = {});
    ~UnifiedAudioScope() override;

    /// Queues `count` samples of one channel for the next tick; of too many the
    /// oldest are dropped. Without such a channel, samples or a count: ignored.
    void push(int channel, const float* samples, int count);

    /// Below 1 counts as 1. A new count empties every channel's queue.
    void setChannelCount(int count);
    [[nodiscard]] int channelCount() const;

    void setMode(Mode mode);

    [[nodiscard]] Mode mode() const { return m_mode; }

    /// Places the spectrum's bands; Hz, below 1 is ignored.
    void setSampleRate(int rateHz);

    [[nodiscard]] int sampleRate() const { return m_sampleRateHz; }

    /// A frozen scope keeps its picture; what is pushed meanwhile is not shown.
    void setFrozen(bool frozen) { m_frozen = frozen; }

    [[nodiscard]] bool isFrozen() const { return m_frozen; }

    void setPopOutAllowed(bool allowed) { m_popOutAllowed = allowed; }

    [[nodiscard]] bool isPopOutAllowed() const { return m_popOutAllowed; }

    [[nodiscard]] bool isPoppedOut() const;

    /// Time from one tick to the next in `mode`, in ms.
    static int tickIntervalMs(Mode mode);

    /// What is painted under the labels, in device pixels.
    [[nodiscard]] const QImage& frame() const { return m_frame; }

    [[nodiscard]] QColor traceColour(int channel) const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void tick();
    void drainChannels();
    bool updateWave();
    bool updateSpectrum();
    bool updateLevel();
    void composeFrame();

    void chooseMode(Mode mode);
    void describeMode();
    bool togglePopOut();
    void rebuildAnalysers();
    void assignTraceColours();
    void recreateFrame();
    void ensureFrame();
    [[nodiscard]] QSize frameSize() const;
    void paintLabels(QPainter& painter) const;

    Mode m_mode = Mode::Wave;
    int m_sampleRateHz;
    std::vector<std::unique_ptr<ScopeChannel>> m_channels;
    std::vector<TraceLane> m_lanes; ///< one for each channel
    QImage m_frame;
    QTimer m_tickTimer{this};
    std::function<qint64()> m_clock; ///< what the meters' times are read from
    bool m_frozen = false;
    bool m_popOutAllowed = true;
    PopOut* m_popOut;
};
