#pragma once

#include "project/track.h"

#include <QWidget>

class TrackHeaderWidget;
class WaveformView;

/// One track's strip: its header beside its waveform.
///
/// The Tab key stops at the name, the buttons and the waveform. While the name or the
/// waveform has the keyboard, keys do what the mouse does on the waveform and on the
/// border below, and the context menu offers what else can be done.
///
/// GUI thread only. Owns both parts; shares the track, so that the waveform may
/// read it for as long as the strip lives.
class TrackWidget : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TrackWidget)

public:
    explicit TrackWidget(QWidget* parent = nullptr);
    ~TrackWidget() override;

    [[nodiscard]] TrackHeaderWidget* header() const { return m_header; }

    [[nodiscard]] WaveformView* waveform() const { return m_waveform; }

    /// Hands `track` (null: none) to header and waveform.
    void setTrack(const TrackHandle& track);

signals:
    void cursorMoved(qlonglong sample);
    void selectionChanged(qlonglong begin, qlonglong end);
    void viewRangeChanged(qlonglong begin, qlonglong end);

    /// The user wants the strip that many steps higher (negative: lower).
    void heightStepped(int steps);

    /// The user wants the track removed.
    void removeRequested();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    [[nodiscard]] bool useKey(QKeyCombination keys);

    TrackHeaderWidget* m_header;
    WaveformView* m_waveform;
};
