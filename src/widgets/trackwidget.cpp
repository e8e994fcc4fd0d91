#include "widgets/trackwidget.h"

#include "widgets/trackheaderwidget.h"
#include "widgets/waveformview.h"

#include <QHBoxLayout>

namespace {

constexpr int kMinHeight = 80;

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

    connect(m_waveform, &WaveformView::cursorMoved, this, &TrackWidget::cursorMoved);
    connect(m_waveform, &WaveformView::selectionChanged, this, &TrackWidget::selectionChanged);
    connect(m_waveform, &WaveformView::viewRangeChanged, this, &TrackWidget::viewRangeChanged);
    connect(m_header, &TrackHeaderWidget::nameChanged, m_waveform,
            &WaveformView::updateAccessibleName);
    connect(m_header, &TrackHeaderWidget::nameChanged, this, &QWidget::setAccessibleName);
}

TrackWidget::~TrackWidget() = default;

void TrackWidget::setTrack(const TrackHandle& track)
{
    // The waveform first: the header's handle may be all that keeps its track.
    m_waveform->setTrack(track.data());
    m_header->setTrack(track);
    setAccessibleName(track ? track->name : QString());
}
