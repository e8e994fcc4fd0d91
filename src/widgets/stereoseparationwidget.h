#pragma once

#include <QImage>
#include <QList>
#include <QWidget>

/// A scrolling picture of how a stereo signal splits into middle and side: one
/// column for each monitored frame, the newest at the right.
class StereoSeparationWidget : public QWidget {
    Q_OBJECT

public:
    explicit StereoSeparationWidget(QWidget* parent = nullptr);

    /// Draws one column for each frame of `left`; frames that `right` lacks are
    /// silent there. Values that are not finite draw nothing.
    void pushFrames(const QList<float>& left, const QList<float>& right);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void ensureImage();
    void drawColumns(const QList<float>& left, const QList<float>& right, qsizetype firstFrame,
                     int count);

    QImage m_history; ///< the widget's size in logical pixels, a ring of columns
    qint32 m_writeColumn = 0;
};
