#include "loadstage.h"

#include "app/trackstack.h"
#include "engine/velaengine.h"
#include "widgets/trackwidget.h"
#include "widgets/waveformview.h"

#include <QEvent>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr QSize kWindowSize(1600, 900);
constexpr int kStepIntervalMs = 16;
constexpr int kAngleUnitsPerNotch = 120;

double worstUnderruns = 0;
double worstInputDrop = 0;

/// The engine tells its counts in a line a second, which stays off the terminal.
void readDiagnostics(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text)
{
    static const QRegularExpression line(QStringLiteral("underrun=(\\d+) .*\\| IN drop=(\\d+) "));
    const QRegularExpressionMatch match = line.match(text);
    if (!match.hasMatch()) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        return;
    }
    worstUnderruns = std::max(worstUnderruns, match.captured(1).toDouble());
    worstInputDrop = std::max(worstInputDrop, match.captured(2).toDouble());
}

PaintWatch& withDiagnostics(PaintWatch& application)
{
    QLoggingCategory::setFilterRules(QStringLiteral("vela.engine.diagnostics.debug=true"));
    qInstallMessageHandler(readDiagnostics);
    return application;
}

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "bench_load: %s\n", what);
    std::exit(2);
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

double residentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ').value(1).toDouble() * 1024;
    }
    return 0;
}

LoadStage::LoadStage(PaintWatch& application)
    : m_application(withDiagnostics(application))
{
    m_window.resize(kWindowSize);
    m_window.show();
}

LoadStage::~LoadStage()
{
    qInstallMessageHandler(nullptr);
}

WaveformView* LoadStage::waveform()
{
    const auto* stack = m_window.findChild<TrackStack*>();
    if (stack == nullptr || stack->strips().isEmpty())
        return nullptr;
    return stack->strips().constFirst()->waveform();
}

void LoadStage::wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

Figures LoadStage::watch(int ms, const std::function<void()>& first,
                         const std::function<void()>& step)
{
    WaveformView* seen = waveform();
    if (seen != nullptr)
        seen->installEventFilter(this);
    QTimer steps;
    steps.setTimerType(Qt::PreciseTimer);
    if (step) {
        connect(&steps, &QTimer::timeout, this, step);
        steps.start(kStepIntervalMs);
    }
    if (first)
        QTimer::singleShot(0, this, first);
    m_headPaints = 0;
    m_headMoves = 0;
    m_application.begin();
    QElapsedTimer clock;
    clock.start();
    const double workBeginMs = processWorkMs();
    m_loop.begin();
    wait(ms);
    m_loop.end();
    Figures figures;
    figures.seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    figures.corePercent = (processWorkMs() - workBeginMs) / (10 * figures.seconds);
    figures.longestGapMs = m_loop.longestGapMs();
    figures.longestWorkMs = m_loop.longestWorkMs();
    figures.headPaints = m_headPaints / figures.seconds;
    figures.headMoves = m_headMoves / figures.seconds;
    const std::vector<double>& paintsMs = m_application.paintsMs();
    figures.paintMedianMs = median(paintsMs);
    figures.paintLongestMs =
        paintsMs.empty() ? 0 : *std::max_element(paintsMs.begin(), paintsMs.end());
    figures.underruns = worstUnderruns;
    figures.droppedSamples = worstInputDrop;
    if (seen != nullptr)
        seen->removeEventFilter(this);
    return figures;
}

void LoadStage::play(bool on)
{
    m_window.togglePlayStop(on);
    if (m_window.engine()->isPlaying() != on)
        fail("playback does not start: is there a sound server?");
    worstUnderruns = 0;
    worstInputDrop = 0;
}

void LoadStage::record(bool on)
{
    m_window.toggleRecord(on);
    if (m_window.engine()->isRecording() != on)
        fail("recording does not start: does the sound server have a microphone?");
}

void LoadStage::turnWheel(int notches)
{
    WaveformView* view = waveform();
    const QPointF middle(view->width() / 2.0, view->height() / 2.0);
    QWheelEvent event(middle, view->mapToGlobal(middle), {}, {0, notches * kAngleUnitsPerNotch},
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view, &event);
}

void LoadStage::dragMiddle(int fromX, int toX)
{
    WaveformView* view = waveform();
    const auto send = [view](QEvent::Type type, int x, Qt::MouseButtons held) {
        const QPointF at(x, view->height() / 2.0);
        QMouseEvent event(type, at, view->mapToGlobal(at),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::MiddleButton, held,
                          Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    };
    send(QEvent::MouseButtonPress, fromX, Qt::MiddleButton);
    send(QEvent::MouseMove, toX, Qt::MiddleButton);
    send(QEvent::MouseButtonRelease, toX, Qt::NoButton);
}

bool LoadStage::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Paint)
        notePaint();
    return QObject::eventFilter(watched, event);
}

void LoadStage::notePaint()
{
    const qint64 head = m_window.project()->play.position;
    ++m_headPaints;
    if (head == m_shownHead)
        return;
    m_shownHead = head;
    ++m_headMoves;
}
