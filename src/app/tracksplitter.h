#pragma once

#include <QSplitter>

/// A vertical splitter inside a scroll area. Dragging a handle changes the
/// height of the strip above it and moves those below, so that a strip can also
/// be made higher than the room on screen; the scroll area takes up the rest.
/// Room that becomes free goes to the strip below, or above where that was the last.
class TrackSplitter : public QSplitter {
    Q_OBJECT

public:
    static constexpr int kHandlePixels = 4;

    explicit TrackSplitter(QWidget* parent = nullptr);

    /// Gives the strip at `index` this height in pixels, at least its minimum.
    void setStripHeight(int index, int height);

    /// Forgets heights given by hand: the strips share the room on screen again.
    void shareRoom();

protected:
    QSplitterHandle* createHandle() override;
};
