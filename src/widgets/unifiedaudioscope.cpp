#include "widgets/unifiedaudioscope.h"

#include "widgets/focusring.h"
#include "widgets/levelmeterpainter.h"
#include "widgets/pixelfill.h"
#include "widgets/popout.h"
#include "widgets/scopechannel.h"
#include "widgets/scopelayout.h"

#include <QActionGroup>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <array>
#include <utility>

namespace {

using Mode = UnifiedAudioScope::Mode;

constexpr int kFallbackTickMs = 100;
constexpr QSize kSizeHintPx(320, 180);
constexpr QSize kMinimumSizeHintPx(160, 90);
constexpr QSize kPoppedOutSizePx(640, 360);
constexpr int kCellGapPx = 2;
constexpr int kHoldThicknessPx = 2;
constexpr QRgb kBackground = qRgb(0, 0, 0);
constexpr QRgb kSingleTrace = qRgb(220, 0, 255);
constexpr int kTraceFirstHue = 75;
constexpr int kTraceHueSpan = 90;
constexpr int kTraceSaturation = 220;
constexpr int kTraceValue = 220;

struct ModeInfo {
    Mode mode;
    const char* shortName;
    const char* menuText;
    const char* toolTip;
    int tickMs;
};

constexpr std::array kModes{
    ModeInfo{Mode::Wave, QT_TRANSLATE_NOOP("UnifiedAudioScope", "Wave"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope", "Waveform"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope",
                               "Scrolling oscilloscope showing signal amplitude over time"),
             50},
    ModeInfo{Mode::Spectrum, QT_TRANSLATE_NOOP("UnifiedAudioScope", "Spectrum"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope", "Spectrum"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope",
                               "Scrolling spectrogram showing frequency content over time"),
             200},
    ModeInfo{Mode::Level, QT_TRANSLATE_NOOP("UnifiedAudioScope", "Level"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope", "Level"),
             QT_TRANSLATE_NOOP("UnifiedAudioScope", "VU meter showing RMS and peak signal level"),
             75},
};

const ModeInfo* infoOf(Mode mode)
{
    const auto* found = std::find_if(kModes.begin(), kModes.end(),
                                     [mode](const ModeInfo& info) { return info.mode == mode; });
    return found == kModes.end() ? nullptr : found;
}

std::function<qint64()> steadyClock()
{
    QElapsedTimer timer;
    timer.start();
    return [timer] { return timer.elapsed(); };
}

} // namespace

UnifiedAudioScope::UnifiedAudioScope(QWidget* parent, std::function<qint64()> clock)
    : QWidget(parent)
    , m_sampleRateHz(SpectrumAnalyser::kDefaultSampleRateHz)
    , m_clock(clock ? std::move(clock) : steadyClock())
    , m_popOut(new PopOut(this))
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Audio scope"));
    setToolTip(
        tr("Double-click or Return: a window of its own, and back. Right-click: what is shown."));
    describeMode();
    setChannelCount(1);
    m_tickTimer.setSingleShot(true);
    m_tickTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_tickTimer, &QTimer::timeout, this, &UnifiedAudioScope::tick);
    m_tickTimer.start(kFallbackTickMs);
}

UnifiedAudioScope::~UnifiedAudioScope() = default;

void UnifiedAudioScope::push(int channel, const float* samples, int count)
{
    if (channel < 0 || channel >= channelCount() || samples == nullptr || count < 1)
        return;
    m_channels[static_cast<size_t>(channel)]->ring.push(samples, count);
}

int UnifiedAudioScope::channelCount() const
{
    return static_cast<int>(m_channels.size());
}

void UnifiedAudioScope::setChannelCount(int count)
{
    const auto wanted = static_cast<size_t>(std::max(count, 1));
    if (wanted == m_channels.size())
        return;
    m_channels.resize(wanted);
    m_lanes.resize(wanted);
    int number = 0;
    for (std::unique_ptr<ScopeChannel>& channel : m_channels) {
        if (channel == nullptr)
            channel = std::make_unique<ScopeChannel>();
        channel->label = tr("Ch %1").arg(++number);
        channel->ring.resetIndices();
        channel->drainedCount = 0;
    }
    assignTraceColours();
    if (m_mode == Mode::Spectrum)
        rebuildAnalysers();
    recreateFrame();
}

void UnifiedAudioScope::assignTraceColours()
{
    const int count = channelCount();
    for (int i = 0; i < count; ++i) {
        const int hue = kTraceFirstHue + (kTraceHueSpan * i) / std::max(count - 1, 1);
        m_lanes[static_cast<size_t>(i)].colour =
            count == 1 ? kSingleTrace : QColor::fromHsv(hue, kTraceSaturation, kTraceValue).rgb();
    }
}

QColor UnifiedAudioScope::traceColour(int channel) const
{
    return QColor::fromRgb(m_lanes.at(static_cast<size_t>(channel)).colour);
}

void UnifiedAudioScope::setMode(Mode mode)
{
    if (mode != m_mode)
        chooseMode(mode);
}

void UnifiedAudioScope::chooseMode(Mode mode)
{
    m_mode = mode;
    describeMode();
    if (m_mode == Mode::Spectrum)
        rebuildAnalysers();
    recreateFrame();
}

// The picture itself says nothing to assistive technology.
void UnifiedAudioScope::describeMode()
{
    const ModeInfo* info = infoOf(m_mode);
    setAccessibleDescription(info == nullptr ? QString() : tr(info->toolTip));
}

void UnifiedAudioScope::setSampleRate(int rateHz)
{
    if (rateHz < 1 || rateHz == m_sampleRateHz)
        return;
    m_sampleRateHz = rateHz;
    if (m_mode == Mode::Spectrum)
        rebuildAnalysers();
}

// The history starts anew with the analysers, so that its columns are the spectra
// of one unbroken stretch of time.
void UnifiedAudioScope::rebuildAnalysers()
{
    for (const std::unique_ptr<ScopeChannel>& channel : m_channels) {
        channel->analyser = std::make_unique<SpectrumAnalyser>(m_sampleRateHz);
        channel->spectrogram.clear();
    }
}

bool UnifiedAudioScope::isPoppedOut() const
{
    return m_popOut->isPoppedOut();
}

int UnifiedAudioScope::tickIntervalMs(Mode mode)
{
    const ModeInfo* info = infoOf(mode);
    return info == nullptr ? kFallbackTickMs : info->tickMs;
}

QSize UnifiedAudioScope::sizeHint() const
{
    return kSizeHintPx;
}

QSize UnifiedAudioScope::minimumSizeHint() const
{
    return kMinimumSizeHintPx;
}

QSize UnifiedAudioScope::frameSize() const
{
    return (QSizeF(size()) * devicePixelRatioF()).toSize();
}

void UnifiedAudioScope::ensureFrame()
{
    if (m_frame.size() != frameSize())
        recreateFrame();
}

void UnifiedAudioScope::recreateFrame()
{
    const QSize wanted = frameSize();
    if (m_frame.size() != wanted)
        m_frame = QImage(wanted, QImage::Format_RGB32);
    m_frame.fill(kBackground);
    composeFrame();
    update();
}

void UnifiedAudioScope::tick()
{
    // Shown again, showEvent() starts the ticking anew.
    if (parentWidget() != nullptr && !isVisible())
        return;
    ensureFrame();
    drainChannels();
    bool changed = false;
    if (!m_frozen) {
        switch (m_mode) {
        case Mode::Wave:
            changed = updateWave();
            break;
        case Mode::Spectrum:
            changed = updateSpectrum();
            break;
        case Mode::Level:
            changed = updateLevel();
            break;
        }
    }
    if (changed) {
        composeFrame();
        update();
    }
    m_tickTimer.start(tickIntervalMs(m_mode));
}

void UnifiedAudioScope::drainChannels()
{
    for (const std::unique_ptr<ScopeChannel>& channel : m_channels)
        channel->drainedCount = channel->ring.drain(channel->drained.data());
}

bool UnifiedAudioScope::updateWave()
{
    for (size_t i = 0; i < m_channels.size(); ++i) {
        m_lanes[i].samples = m_channels[i]->drained.data();
        m_lanes[i].count = m_channels[i]->drainedCount;
    }
    return drawTraces(m_frame, m_lanes, kBackground);
}

bool UnifiedAudioScope::updateSpectrum()
{
    for (const std::unique_ptr<ScopeChannel>& channel : m_channels) {
        channel->analyser->process(channel->drained.data(), channel->drainedCount);
        channel->spectrogram.addColumn(*channel->analyser);
    }
    return true;
}

bool UnifiedAudioScope::updateLevel()
{
    const qint64 nowMs = m_clock();
    bool changed = false;
    for (const std::unique_ptr<ScopeChannel>& channel : m_channels) {
        const LevelReading before = channel->level.reading();
        channel->level.addBlock(channel->drained.data(), channel->drainedCount, nowMs);
        channel->level.advance(nowMs);
        changed = changed || !(before == channel->level.reading());
    }
    return changed;
}

// The oscilloscope's picture is the frame itself; the others are drawn from what
// the channels keep.
void UnifiedAudioScope::composeFrame()
{
    if (m_mode != Mode::Spectrum && m_mode != Mode::Level)
        return;
    fillPixels(m_frame, m_frame.rect(), scope_layout::kEmptyArea);
    const int gap = qRound(kCellGapPx * devicePixelRatioF());
    const int holdThickness = qRound(kHoldThicknessPx * devicePixelRatioF());
    for (int i = 0; i < channelCount(); ++i) {
        const ScopeChannel& channel = *m_channels[static_cast<size_t>(i)];
        const QRect cell = scope_layout::gridCell(m_frame.size(), channelCount(), i, gap);
        if (m_mode == Mode::Spectrum)
            channel.spectrogram.drawInto(m_frame, cell);
        else
            level_meter::paint(m_frame, cell, channel.level.reading(), holdThickness);
    }
}

void UnifiedAudioScope::paintEvent(QPaintEvent* /*event*/)
{
    ensureFrame();
    QPainter painter(this);
    painter.drawImage(rect(), m_frame);
    paintLabels(painter);
    focus_ring::paint(painter, *this);
}

void UnifiedAudioScope::paintLabels(QPainter& painter) const
{
    const int count = channelCount();
    for (int i = 0; count > 1 && i < count; ++i) {
        const QRect cell = m_mode == Mode::Wave
                               ? scope_layout::lane(size(), count, i)
                               : scope_layout::gridCell(size(), count, i, kCellGapPx);
        scope_layout::paintText(painter, cell, Qt::AlignLeft | Qt::AlignTop,
                                m_channels[static_cast<size_t>(i)]->label);
    }
    if (const ModeInfo* info = infoOf(m_mode)) {
        scope_layout::paintText(painter, rect(), Qt::AlignRight | Qt::AlignBottom,
                                tr(info->shortName));
    }
}

void UnifiedAudioScope::resizeEvent(QResizeEvent* event)
{
    ensureFrame();
    QWidget::resizeEvent(event);
}

void UnifiedAudioScope::showEvent(QShowEvent* event)
{
    if (!m_tickTimer.isActive())
        m_tickTimer.start(tickIntervalMs(m_mode));
    QWidget::showEvent(event);
}

void UnifiedAudioScope::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && togglePopOut())
        event->accept();
    else
        QWidget::mouseDoubleClickEvent(event);
}

void UnifiedAudioScope::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && !event->isAutoRepeat() && togglePopOut())
        event->accept();
    else
        QWidget::keyPressEvent(event);
}

bool UnifiedAudioScope::togglePopOut()
{
    if (isPoppedOut()) {
        m_popOut->restore();
        return true;
    }
    return m_popOutAllowed && m_popOut->popOut(tr("Audio Scope"), kPoppedOutSizePx);
}

void UnifiedAudioScope::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setToolTipsVisible(true);
    auto* group = new QActionGroup(menu);
    group->setExclusive(true);
    for (const ModeInfo& info : kModes) {
        QAction* action = menu->addAction(tr(info.menuText));
        action->setToolTip(tr(info.toolTip));
        action->setCheckable(true);
        action->setChecked(info.mode == m_mode);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, mode = info.mode] { chooseMode(mode); });
    }
    menu->popup(event->globalPos());
}
