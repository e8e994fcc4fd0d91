// More samples than a count of 32 bits holds: at 44100 Hz that takes 27 hours.

#include "support/logcatcher.h"
#include "widgets/scopering.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <sys/mman.h>
#include <vector>

namespace {

/// Silence of any length, which costs no memory where nobody looks at it.
class Silence {
public:
    explicit Silence(qint32 samples)
        : m_bytes(static_cast<size_t>(samples) * sizeof(float))
        , m_data(
              mmap(nullptr, m_bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {
    }

    ~Silence() { munmap(m_data, m_bytes); }
    Q_DISABLE_COPY_MOVE(Silence)

    [[nodiscard]] bool isThere() const { return m_data != MAP_FAILED; }

    [[nodiscard]] const float* samples() const { return static_cast<const float*>(m_data); }

private:
    size_t m_bytes;
    void* m_data;
};

constexpr qint32 kLongPush = 1 << 30;
constexpr int kPushesInAWeek = 25; // 26.8 thousand million samples, a little over 7 days

} // namespace

class TestScopeRingWeek : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void countsGoOnBeyond32Bits()
    {
        const Silence silence(kLongPush);
        QVERIFY(silence.isThere());
        const auto ring = std::make_unique<ScopeRing>();
        std::vector<float> drained(ScopeRing::kMaxHeldSamples);
        quint64 arrived = 0;
        for (int push = 1; push <= kPushesInAWeek; ++push) {
            ring->push(silence.samples(), kLongPush);
            // The ring's size divides the push: it is full, and starts at its beginning.
            QCOMPARE(ring->heldSamples(), ScopeRing::kMaxHeldSamples);
            QCOMPARE(ring->writeIndex(), 0);
            QCOMPARE(ring->readIndex(), 1);
            if (push % 2 == 0)
                arrived += static_cast<quint64>(ring->drain(drained.data()));
        }
        QCOMPARE(arrived, 12 * quint64{16383});
        const quint64 pushed = kPushesInAWeek * static_cast<quint64>(kLongPush);
        QCOMPARE(ring->overflowCount(), pushed - arrived - 16383);
    }

    void samplesStayInOrderWhereTheCountWraps()
    {
        const Silence silence(kLongPush);
        QVERIFY(silence.isThere());
        const auto ring = std::make_unique<ScopeRing>();
        std::vector<float> drained(ScopeRing::kMaxHeldSamples);
        for (const qint32 count : {kLongPush, kLongPush, kLongPush, kLongPush - 3000})
            ring->push(silence.samples(), count);
        QCOMPARE(ring->drain(drained.data()), ScopeRing::kMaxHeldSamples);
        // Three thousand before the wrap; pieces of a thousand go over it.
        float next = 1;
        for (int piece = 0; piece < 6; ++piece) {
            std::vector<float> rising(1000);
            for (size_t i = 0; i < rising.size(); ++i)
                rising[i] = next + static_cast<float>(i);
            ring->push(rising.data(), 1000);
            QCOMPARE(ring->heldSamples(), 1000);
            QCOMPARE(ring->drain(drained.data()), 1000);
            QVERIFY(std::equal(rising.begin(), rising.end(), drained.begin()));
            next += 1000;
        }
        QCOMPARE(ring->writeIndex(), 3000);
        QCOMPARE(ring->readIndex(), 3000);
    }
};

QTEST_APPLESS_MAIN(TestScopeRingWeek)
#include "tst_scoperingweek.moc"
