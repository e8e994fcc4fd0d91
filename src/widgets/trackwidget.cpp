#include "widgets/trackwidget.h"

#include "widgets/namelabel.h"
#include "widgets/trackheaderwidget.h"
#include "widgets/waveformview.h"

#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>

namespace {

constexpr int kMinHeight = 80;
constexpr int kStepPixels = 1;
constexpr int kLeapPixels = 50;
/// This part of the view goes by with each key that pans.
constexpr int kPansPerView = 8;

/// What can be done by key, as a menu names it beside the command.
QString withKey(const QString& text, QKeyCombination keys)
{
    return text + u'\t' + QKeySequence(keys).toString(QKeySequence::NativeText);
}

} // namespace

TrackWidget::TrackWidget(QWidget* parent)
    : QWidget(parent)
    , m_header(new TrackHeaderWidget(this))
    , m_waveform(new WaveformView(this))
{
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(m_header, 0);
    row->addWidget(m_waveform, 1);
    setMinimumHeight(kMinHeight);
    m_waveform->setFocusPolicy(Qt::StrongFocus);
    m_waveform->setAccessibleDescription(
        tr("Left and Right move the cursor, plus and minus zoom, the Menu key offers more"));

    connect(m_waveform, &WaveformView::cursorMoved, this, &TrackWidget::cursorMoved);
    connect(m_waveform, &WaveformView::selectionChanged, this, &TrackWidget::selectionChanged);
    connect(m_waveform, &WaveformView::viewRangeChanged, this, &TrackWidget::viewRangeChanged);
    connect(m_header, &TrackHeaderWidget::nameChanged, m_waveform,
            &WaveformView::updateAccessibleName);
    connect(m_header, &TrackHeaderWidget::nameChanged, this,
            [this](const QString& name) { setAccessibleName(shownName(name)); });
}

TrackWidget::~TrackWidget() = default;

void TrackWidget::setTrack(const TrackHandle& track)
{
    // The waveform first: the header's handle may be all that keeps its track.
    m_waveform->setTrack(track.data());
    m_header->setTrack(track);
    setAccessibleName(track ? shownName(track->name) : QString());
}

void TrackWidget::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (!useKey(QKeyCombination(modifiers, static_cast<Qt::Key>(event->key()))))
        QWidget::keyPressEvent(event);
}

// Left and Right mean earlier and later whatever the direction of reading: so does
// the time line.
bool TrackWidget::useKey(QKeyCombination keys)
{
    switch (keys.toCombined()) {
    case Qt::Key_Left:
        m_waveform->stepCursor(-kStepPixels);
        return true;
    case Qt::Key_Right:
        m_waveform->stepCursor(kStepPixels);
        return true;
    case (Qt::CTRL | Qt::Key_Left).toCombined():
        m_waveform->stepCursor(-kLeapPixels);
        return true;
    case (Qt::CTRL | Qt::Key_Right).toCombined():
        m_waveform->stepCursor(kLeapPixels);
        return true;
    case (Qt::ALT | Qt::Key_Left).toCombined():
        m_waveform->pan(-m_waveform->width() / kPansPerView);
        return true;
    case (Qt::ALT | Qt::Key_Right).toCombined():
        m_waveform->pan(m_waveform->width() / kPansPerView);
        return true;
    case Qt::Key_Plus:
    case (Qt::SHIFT | Qt::Key_Plus).toCombined(): // where it is the upper of two signs
        m_waveform->zoom(1);
        return true;
    case Qt::Key_Minus:
        m_waveform->zoom(-1);
        return true;
    case (Qt::ALT | Qt::Key_Up).toCombined():
        emit heightStepped(1);
        return true;
    case (Qt::ALT | Qt::Key_Down).toCombined():
        emit heightStepped(-1);
        return true;
    default:
        return false;
    }
}

void TrackWidget::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(withKey(tr("Zoom In"), Qt::Key_Plus), this, [this] { m_waveform->zoom(1); });
    menu->addAction(withKey(tr("Zoom Out"), Qt::Key_Minus), this, [this] { m_waveform->zoom(-1); });
    menu->addAction(withKey(tr("Higher Strip"), Qt::ALT | Qt::Key_Up), this,
                    [this] { emit heightStepped(1); });
    menu->addAction(withKey(tr("Lower Strip"), Qt::ALT | Qt::Key_Down), this,
                    [this] { emit heightStepped(-1); });
    menu->addSeparator();
    menu->addAction(tr("Remove Track"), this, &TrackWidget::removeRequested);
    menu->popup(event->globalPos());
}
