#include "app/activitystrip.h"

#include "widgets/namelabel.h"

#include <QAccessible>
#include <QBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

namespace {

constexpr int kBarHeight = 12;
constexpr int kMargin = 4;

} // namespace

ActivityStrip::ActivityStrip(QBoxLayout* home, int index, QWidget* parent)
    : QFrame(parent)
    , m_home(home)
    , m_index(index)
    , m_text(new QLabel(this))
    , m_progress(new QProgressBar(this))
    , m_button(new QPushButton(this))
    , m_timer(new QTimer(this))
{
    setObjectName(QStringLiteral("activityStrip"));
    m_text->setObjectName(QStringLiteral("labelActivity"));
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    m_text->setMinimumWidth(1); // or a name without a blank would widen the window
    m_progress->setObjectName(QStringLiteral("progressBarActivity"));
    m_progress->setTextVisible(false);
    m_progress->setFixedHeight(kBarHeight);
    m_button->setObjectName(QStringLiteral("pushButtonActivity"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(2 * kMargin, kMargin, 2 * kMargin, kMargin);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_progress, 1);
    layout->addWidget(m_button);

    m_timer->setSingleShot(true);
    m_timer->setInterval(kMessageMs);
    connect(m_timer, &QTimer::timeout, this, &ActivityStrip::dismiss);
    connect(m_button, &QPushButton::clicked, this, [this] {
        if (m_working)
            emit cancelRequested();
        else
            dismiss();
    });
    hide();
}

void ActivityStrip::showWork(const QString& what, const QString& cancelToolTip)
{
    if (!m_working)
        m_messages.clear();
    m_timer->stop();
    m_working = true;
    setText(what, plainToolTip(what));
    m_progress->setRange(0, 0);
    m_progress->setAccessibleName(what);
    m_progress->show();
    m_button->setText(tr("Cancel"));
    m_button->setToolTip(cancelToolTip);
    m_button->setVisible(!cancelToolTip.isEmpty());
    enterLayout();
}

void ActivityStrip::showProgress(int percent)
{
    m_progress->setRange(0, 100);
    m_progress->setValue(percent);
}

void ActivityStrip::showMessage(const QString& message)
{
    m_messages.removeOne(message);
    m_messages.append(message);
    if (m_messages.size() > kMaxMessages)
        m_messages.removeFirst();
    if (!m_working)
        showMessages();
}

void ActivityStrip::showMessages()
{
    const QString text = m_messages.join(u'\n');
    setText(text, plainToolTip(tr("Click to close this message") + u'\n' + text));
    m_progress->hide();
    m_button->setText(tr("Close"));
    m_button->setToolTip(tr("Close this message"));
    m_button->show();
    enterLayout();
    m_timer->start();
    QAccessibleEvent alert(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void ActivityStrip::endWork()
{
    m_working = false;
    if (m_messages.isEmpty())
        dismiss();
    else
        showMessages();
}

void ActivityStrip::dismiss()
{
    m_timer->stop();
    m_messages.clear();
    m_home->removeWidget(this);
    hide();
}

void ActivityStrip::mousePressEvent(QMouseEvent* event)
{
    if (m_working) {
        QFrame::mousePressEvent(event);
        return;
    }
    dismiss();
}

/// The tool tip has all of the text, for a long word may not fit into the line.
void ActivityStrip::setText(const QString& text, const QString& toolTip)
{
    m_text->setText(text);
    m_text->setToolTip(toolTip);
    setAccessibleName(text);
}

void ActivityStrip::enterLayout()
{
    if (m_home->indexOf(this) < 0)
        m_home->insertWidget(m_index, this);
    show();
}
