#pragma once

#include "project/track.h"

#include <QWidget>

class TrackHeaderWidget;
class WaveformView;

/// One track's strip: its header beside its waveform.
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

private:
    TrackHeaderWidget* m_header;
    WaveformView* m_waveform;
};
