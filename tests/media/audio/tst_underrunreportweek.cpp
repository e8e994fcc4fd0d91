// A week of an output that is starved now and then, and what its log says of it.

#include "media/audio/outputworker.h"

#include <QTest>

#include <memory>
#include <random>

using media::audio::NodeStream;
using media::audio::OutputShare;
using media::audio::OutputWorker;

namespace {

constexpr qint64 kWeekMs = qint64{7} * 24 * 3600 * 1000;
constexpr qint64 kTickMs = 250;
constexpr qint64 kBetweenReportsMs = 5000;

/// An output whose watchdog's tick is the test's.
class TickedWorker : public OutputWorker {
public:
    using OutputWorker::OutputWorker;
    using OutputWorker::reportAtTick;
};

/// The one line that a tick may log. Not the catcher of the other suites, which
/// keeps every line: a week has a hundred thousand.
QString line;
bool anythingElse = false;

void catchLine(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    anythingElse = anythingElse || type != QtInfoMsg || !line.isEmpty();
    line = text;
}

class Catching {
public:
    Catching() { m_before = qInstallMessageHandler(catchLine); }

    ~Catching() { qInstallMessageHandler(m_before); }

    Q_DISABLE_COPY_MOVE(Catching)

private:
    QtMessageHandler m_before;
};

/// What somebody knows who counts the underruns and reads the log.
class Reader {
public:
    void hear(quint64 underruns) { m_unreported += underruns; }

    void reset()
    {
        m_unreported = 0;
        m_total = 0;
    }

    [[nodiscard]] bool agrees(qint64 nowMs, const QString& said)
    {
        const bool mustWait = m_reports > 0 && nowMs - m_lastReportMs < kBetweenReportsMs;
        if (mustWait || m_unreported == 0)
            return said.isEmpty();
        m_total += m_unreported;
        const QString expected = QStringLiteral("AudioOutputNode: %1 underrun(s) in last %2 ms "
                                                "(total %3 since start) ")
                                     .arg(m_unreported)
                                     .arg(nowMs - m_lastReportMs)
                                     .arg(m_total);
        m_unreported = 0;
        m_lastReportMs = nowMs;
        ++m_reports;
        return said.startsWith(expected);
    }

    [[nodiscard]] int reports() const { return m_reports; }

private:
    quint64 m_unreported = 0;
    quint64 m_total = 0;
    qint64 m_lastReportMs = 0;
    int m_reports = 0;
};

/// Runs the week and says when the log was first wrong; −1: never.
qint64 firstDisagreement(qint64 startMs, Reader& reader)
{
    std::mt19937_64 random(13);
    const auto stream = std::make_shared<NodeStream>();
    TickedWorker worker(stream, std::make_shared<OutputShare>());
    const Catching catching;
    bool starved = false;
    for (qint64 nowMs = startMs; nowMs < startMs + kWeekMs; nowMs += kTickMs) {
        if (random() % 400 == 0)
            starved = !starved && random() % 2 == 0;
        if (random() % 100'000 == 0) {
            stream->underruns = 0;
            reader.reset();
        } else if (starved && random() % 4 == 0) {
            const quint64 underruns = 1 + random() % 9;
            stream->underruns += underruns;
            reader.hear(underruns);
        }
        line.clear();
        worker.reportAtTick(nowMs);
        if (anythingElse || !reader.agrees(nowMs, line))
            return nowMs - startMs;
    }
    return -1;
}

} // namespace

class TestUnderrunReportWeek : public QObject {
    Q_OBJECT

private slots:

    void underrunsAreToldOfOnceInFiveSecondsAndAllOfThem_data()
    {
        QTest::addColumn<qint64>("startMs");
        QTest::newRow("from the beginning") << qint64{0};
        QTest::newRow("across 2^31 ms") << (qint64{1} << 31) - kWeekMs / 2;
        QTest::newRow("across 2^32 ms") << (qint64{1} << 32) - kWeekMs / 2;
    }

    void underrunsAreToldOfOnceInFiveSecondsAndAllOfThem()
    {
        QFETCH(qint64, startMs);
        Reader reader;
        QCOMPARE(firstDisagreement(startMs, reader), qint64{-1});
        QVERIFY(reader.reports() > 1000);
    }
};

QTEST_GUILESS_MAIN(TestUnderrunReportWeek)
#include "tst_underrunreportweek.moc"
