#include "enginesuite.h"

#include "support/signalmakers.h"

#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>

float EngineSuite::sampleAt(qint64 i)
{
    constexpr qint64 kPeriod = (qint64{1} << 24) - 3;
    return static_cast<float>(i % kPeriod + 1) / static_cast<float>(1 << 24) *
           (i < kPeriod ? 1.0F : -1.0F);
}

std::unique_ptr<VelaEngine> EngineSuite::makeEngine(qint64 maxTakeFrames) const
{
    auto engine = std::make_unique<VelaEngine>(VelaEngine::NodeMakers{
                                                   [this] { return m_output; },
                                                   [this] { return m_input; },
                                               },
                                               nullptr, maxTakeFrames);
    engine->setProject(m_project);
    return engine;
}

void EngineSuite::addSound() const
{
    m_project->addTrack({}, 1)->samples = {signal_makers::constant(qsizetype{10} * kRateHz, 0.25F)};
}

QTimer* EngineSuite::runningPump(const VelaEngine& engine)
{
    const auto timers = engine.findChildren<QTimer*>();
    const auto pump = std::find_if(timers.cbegin(), timers.cend(), [](const QTimer* timer) {
        return timer->isActive() && timer->timerType() == Qt::PreciseTimer;
    });
    return pump == timers.cend() ? nullptr : *pump;
}

bool EngineSuite::waitForATick(const VelaEngine& engine)
{
    const QTimer* pump = runningPump(engine);
    return pump && QSignalSpy(pump, &QTimer::timeout).wait(kPatienceMs);
}

void EngineSuite::initTestCase()
{
    QVERIFY(m_server.start());
}

void EngineSuite::init()
{
    m_log = std::make_unique<LogCatcher>();
    m_project = VelaProject::create(kRateHz);
    m_output = QSharedPointer<FakeOutputNode>::create(impatientWatchdog());
    m_input = QSharedPointer<FakeInputNode>::create(sampleAt, kRateHz, impatientWatchdog());
}

void EngineSuite::cleanup()
{
    QLoggingCategory::setFilterRules({});
    m_output.reset();
    m_input.reset();
    m_project.reset();
    m_log.reset();
}
