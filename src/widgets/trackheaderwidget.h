#pragma once

#include "project/track.h"

#include <QWidget>

class NameLabel;
class QHBoxLayout;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

/// The head of a track strip: the track's name, and its Mute and Solo buttons.
/// Writes the track's `name`, `muted` and `solo`. A double-click, or Return on
/// the name, renames: Return or leaving the field keeps the new name, Escape the
/// old one.
///
/// GUI thread only. Shares the track.
class TrackHeaderWidget : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TrackHeaderWidget)

public:
    explicit TrackHeaderWidget(QWidget* parent = nullptr);
    ~TrackHeaderWidget() override;

    /// Shows `track`, or nothing when null. Emits nothing; a rename under way is
    /// dropped.
    void setTrack(const TrackHandle& track);

    [[nodiscard]] const TrackHandle& track() const { return m_track; }

signals:
    void muteToggled(bool muted);
    void soloToggled(bool solo);
    void nameChanged(QString name);

public slots:
    void onMuteClicked();
    void onSoloClicked();

    /// Editing → idle: keeps the trimmed text as the name, if it is one and new.
    void onNameEditFinished();

protected:
    /// Idle → editing, with a track.
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addName(QVBoxLayout* column);
    QPushButton* addButton(QHBoxLayout* row, const QString& text, const QString& toolTip,
                           const QString& checkedColours);
    void showName();
    void followToggles();
    bool enterEditor();
    void leaveEditor();

    TrackHandle m_track;
    NameLabel* m_nameLabel;
    QLineEdit* m_nameEditor;
    QPushButton* m_muteButton;
    QPushButton* m_soloButton;
    bool m_editing = false;
};
