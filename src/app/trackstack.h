#pragma once

#include "project/velaproject.h"

#include <QList>
#include <QScrollArea>

class QLabel;
class TrackSplitter;
class TrackWidget;

/// The scrolling stack of track strips, one for each track of the project and
/// in its order; without a track it says how to begin. What the Tab key reaches comes
/// into sight. GUI thread.
class TrackStack : public QScrollArea {
    Q_OBJECT

public:
    explicit TrackStack(QWidget* parent = nullptr);

    /// Makes the strips match the project's tracks. A strip whose track stays is
    /// kept, with its peaks. The strips borrow the project until the next call.
    void rebuild(const ProjectHandle& project);

    [[nodiscard]] const QList<TrackWidget*>& strips() const { return m_strips; }

    /// Asks every waveform view to repaint.
    void refreshWaveforms();

    /// Has the waveform of the strip with the keyboard tell where the cursor is.
    void announceCursor();

signals:
    /// The user moved cursor or selection in some strip.
    void positionEdited();

    /// The user wants the track at `index` removed. Comes queued, as the strip that
    /// asked for it goes with its track.
    void removeRequested(int index);

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    TrackWidget* makeStrip(const TrackHandle& track, VelaProject* project);
    void listenTo(TrackWidget* strip);
    [[nodiscard]] qsizetype focusedStrip() const;

    TrackSplitter* m_splitter;
    QLabel* m_hint;
    QList<TrackWidget*> m_strips;
    QList<TrackHandle> m_tracks; ///< what each strip shows; keeps it alive
    ProjectHandle m_project;
};
