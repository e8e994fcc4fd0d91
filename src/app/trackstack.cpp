#include "app/trackstack.h"

#include "app/tracksplitter.h"
#include "widgets/trackwidget.h"
#include "widgets/waveformview.h"

#include <QFocusEvent>
#include <QLabel>

#include <algorithm>

namespace {

constexpr int kHintMargin = 24;
constexpr int kHeightStepPixels = 20;
/// Higher than a view can paint. The splitter adds up what its strips may have, and
/// with no limit of theirs the sum would overflow from the 128th on.
constexpr int kMaxStripHeight = 32767;

} // namespace

TrackStack::TrackStack(QWidget* parent)
    : QScrollArea(parent)
    , m_splitter(new TrackSplitter(this))
    , m_hint(new QLabel(viewport()))
{
    setObjectName(QStringLiteral("scrollAreaTracks"));
    setStyleSheet(QStringLiteral("QScrollArea { background: transparent; } "
                                 "QScrollArea > .QWidget { background: transparent; }"));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setWidgetResizable(true);
    m_splitter->setObjectName(QStringLiteral("trackSplitter"));
    setWidget(m_splitter);
    m_hint->setObjectName(QStringLiteral("labelHowToBegin"));
    m_hint->setText(tr("Open an audio file (Ctrl+O), press Record, or add an empty track "
                       "(Ctrl+T) to begin."));
    m_hint->setAlignment(Qt::AlignCenter);
    m_hint->setWordWrap(true);
    m_hint->setMargin(kHintMargin);
    // It lies over the empty splitter, which paints the window's colour.
    m_hint->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_hint->raise();
}

void TrackStack::resizeEvent(QResizeEvent* event)
{
    QScrollArea::resizeEvent(event);
    m_hint->setGeometry(viewport()->rect());
}

/// The base class scrolls only where the key was pressed inside.
bool TrackStack::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn) {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason)
            ensureWidgetVisible(static_cast<QWidget*>(watched));
    }
    return QScrollArea::eventFilter(watched, event);
}

void TrackStack::rebuild(const ProjectHandle& project)
{
    const bool sameProject = project == m_project;
    const ProjectHandle formerProject = m_project;
    const QList<TrackHandle> formerTracks = m_tracks;
    const qsizetype focused = focusedStrip();
    QList<TrackWidget*> unused = m_strips;
    m_project = project;
    m_tracks = project ? project->tracks : QList<TrackHandle>();
    m_strips.clear();
    for (const TrackHandle& track : std::as_const(m_tracks)) {
        const qsizetype former = sameProject ? formerTracks.indexOf(track) : -1;
        TrackWidget* strip = former >= 0 ? unused[former] : nullptr;
        if (strip)
            unused[former] = nullptr;
        else
            strip = makeStrip(track, project.data());
        m_splitter->insertWidget(static_cast<int>(m_strips.size()), strip);
        m_strips.append(strip);
    }
    const bool focusGoes = focused >= 0 && unused[focused] != nullptr;
    qDeleteAll(unused);
    if (focusGoes && !m_strips.isEmpty())
        m_strips[std::min(focused, m_strips.size() - 1)]->waveform()->setFocus();
    if (m_tracks.size() != formerTracks.size())
        m_splitter->shareRoom();
    m_hint->setVisible(m_strips.isEmpty());
}

TrackWidget* TrackStack::makeStrip(const TrackHandle& track, VelaProject* project)
{
    auto* strip = new TrackWidget;
    strip->setMaximumHeight(kMaxStripHeight);
    strip->setTrack(track);
    strip->waveform()->setViewState(project);
    for (QWidget* part : strip->findChildren<QWidget*>())
        part->installEventFilter(this);
    listenTo(strip);
    return strip;
}

void TrackStack::listenTo(TrackWidget* strip)
{
    const auto edited = [this] {
        refreshWaveforms();
        emit positionEdited();
    };
    connect(strip, &TrackWidget::cursorMoved, this, edited);
    connect(strip, &TrackWidget::selectionChanged, this, edited);
    connect(strip, &TrackWidget::viewRangeChanged, this, &TrackStack::refreshWaveforms);
    connect(strip, &TrackWidget::heightStepped, this, [this, strip](int steps) {
        const int height = strip->height() + steps * kHeightStepPixels;
        m_splitter->setStripHeight(m_splitter->indexOf(strip), height);
    });
    const auto remove = [this, strip] {
        const qsizetype index = m_strips.indexOf(strip);
        if (index >= 0)
            emit removeRequested(static_cast<int>(index));
    };
    connect(strip, &TrackWidget::removeRequested, this, remove, Qt::QueuedConnection);
}

qsizetype TrackStack::focusedStrip() const
{
    const QWidget* focus = window()->focusWidget();
    if (focus == nullptr)
        return -1;
    const auto holdsIt = [focus](const TrackWidget* strip) { return strip->isAncestorOf(focus); };
    const auto found = std::find_if(m_strips.cbegin(), m_strips.cend(), holdsIt);
    return found == m_strips.cend() ? -1 : found - m_strips.cbegin();
}

void TrackStack::refreshWaveforms()
{
    for (TrackWidget* strip : std::as_const(m_strips))
        strip->waveform()->update();
}

void TrackStack::announceCursor()
{
    const qsizetype focused = focusedStrip();
    if (focused >= 0)
        m_strips[focused]->waveform()->announceCursor();
}
