#pragma once

#include <QFrame>
#include <QStringList>

class QBoxLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QTimer;

/// The slim strip under the toolbar that shows long work and its failure.
///
/// Idle → working (a progress bar with what is being done, and a cancel button
/// where that is possible) → idle; idle → message (goes away by itself, by a
/// click or by the keyboard) → idle. A message that comes while working waits
/// until the work has ended. What comes while another is shown or waits stands
/// below it: each once, and of too many the last. While idle it is not part of the
/// layout. To assistive technology it is an alert, and each of its texts is
/// announced.
class ActivityStrip : public QFrame {
    Q_OBJECT

public:
    /// How long a message stays after the last that has joined it.
    static constexpr int kMessageMs = 10000;

    /// Messages that are shown at once.
    static constexpr qsizetype kMaxMessages = 4;

    /// Borrows `home`, where the strip stands at `index` while it is shown.
    ActivityStrip(QBoxLayout* home, int index, QWidget* parent);

    /// Any → working. The bar is busy until the first showProgress(). The cancel
    /// button says `cancelToolTip`; there is none if that is empty.
    void showWork(const QString& what, const QString& cancelToolTip);

    /// Moves the bar; 0 to 100.
    void showProgress(int percent);

    /// Idle or message → message; working: shown when the work ends.
    void showMessage(const QString& message);

    /// Working → idle, or message if any has come meanwhile.
    void endWork();

    /// Message → idle.
    void dismiss();

signals:
    void cancelRequested();

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    void setText(const QString& text, const QString& toolTip);
    void showMessages();
    void enterLayout();

    QBoxLayout* m_home;
    int m_index;
    QLabel* m_text;
    QProgressBar* m_progress;
    QPushButton* m_button;
    QTimer* m_timer;
    bool m_working = false;
    QStringList m_messages; ///< shown; while working those that wait
};
