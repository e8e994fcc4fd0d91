#pragma once

#include "widgets/waveformcache.h"
#include "widgets/waveformgeometry.h"

#include <QElapsedTimer>
#include <QPoint>
#include <QTimer>
#include <QWidget>

class QPainter;
class VelaProject;
struct Track;

/// One track's audio under a time ruler. The left button places the cursor and
/// drags a selection, the middle button pans, the wheel zooms at the pointer; for
/// the keyboard, which is the strip's business, there is an operation for each.
///
/// All views of a project show the same stretch of time, which the project
/// holds together with cursor, selection and loop; a view's own range serves
/// only while there is no project or the project has no range. After a change
/// of the project or of the samples, call `update()`: the picture is drawn
/// again only if it has to be. While only the zoom changes, that is at most about
/// thirty times a second; what pans or has grown is drawn at every paint.
///
/// GUI thread only. Positions are frames at the project's rate.
class WaveformView : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WaveformView)

public:
    explicit WaveformView(QWidget* parent = nullptr);
    ~WaveformView() override;

    /// Not owned, only read, may be null: set another one, or null, before it dies.
    void setTrack(const Track* track);

    /// To be called when the track was renamed.
    void updateAccessibleName();

    /// Where range, cursor, selection and loop live. Not owned, may be null: set
    /// another one, or null, before it dies.
    void setViewState(VelaProject* state);

    /// Shows begin … end, here and in the project. A begin below 0 slides the
    /// range right; there is no upper limit. Always emits `viewRangeChanged`.
    void setViewRange(qint64 begin, qint64 end);

    /// What a click on that frame does: the cursor goes there (never below 0) and the
    /// selection is dropped. What is out of sight comes into view. Nothing without a
    /// project.
    void placeCursor(qint64 sample);

    /// Places the cursor that many pixels, and at least one frame, from where it is.
    void stepCursor(int pixels);

    /// Zooms as the wheel does (positive: in), with the cursor for the pointer, or the
    /// middle of the view while the cursor is out of sight.
    void zoom(double notches);

    /// Moves along the time line; positive: to what comes later.
    void pan(int pixels);

    /// The cursor and the project's length as assistive technology is told them and
    /// moves the cursor; 0 without a project or a rate.
    [[nodiscard]] double cursorSeconds() const;
    [[nodiscard]] double lengthSeconds() const;
    void placeCursorAt(double seconds);

    /// Tells assistive technology where the cursor is, after it was moved elsewhere.
    void announceCursor();

    /// The frame at logical pixel `x`.
    [[nodiscard]] qint64 xToSample(int x) const;

    /// The logical pixel of `sample`, which may lie outside the view.
    [[nodiscard]] int sampleToX(qint64 sample) const;

signals:
    /// A left press or placeCursor() placed the cursor.
    void cursorMoved(qlonglong sample);

    /// A drag moved the selection's end (0, 0: to nothing), or a click or
    /// placeCursor() cleared the selection (−1, −1).
    void selectionChanged(qlonglong begin, qlonglong end);

    /// The visible range was set, perhaps to what it was.
    void viewRangeChanged(qlonglong begin, qlonglong end);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    enum class MouseMode { None, Selecting, Panning };

    [[nodiscard]] FrameRange effectiveRange() const;
    [[nodiscard]] WaveformGeometry timeGeometry() const;
    [[nodiscard]] WaveformScene scene() const;
    void refreshPicture();
    void moveCursor(qint64 sample);
    void showCursor();
    [[nodiscard]] double seconds(qint64 sample) const;
    void dropSelection();
    void endGesture();
    void drawSelection(QPainter& painter) const;
    void drawPositions(QPainter& painter) const;

    const Track* m_track = nullptr;
    VelaProject* m_state = nullptr;
    FrameRange m_ownRange;
    WaveformCache m_cache;
    QTimer m_repaintTimer{this};
    QElapsedTimer m_sinceRender; ///< invalid until the first render
    MouseMode m_mouseMode = MouseMode::None;
    QPoint m_pressPosition;
    qint64 m_panAnchor = 0;
};
