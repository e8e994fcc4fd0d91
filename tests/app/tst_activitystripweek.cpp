// A week of messages and work on the strip, by a clock of the test's own.

#include "app/activitystrip.h"
#include "support/logcatcher.h"

#include <QAbstractEventDispatcher>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <utility>

namespace {

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kWeekMs = qint64{7} * 24 * 3600 * kSecondMs;
constexpr qint64 kMessageMs = 10 * kSecondMs;
constexpr qsizetype kMessages = 4;

} // namespace

/// The strip's timer fires when the test's time has come to it; no event loop runs.
class TestActivityStripWeek : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QWidget> m_window;
    ActivityStrip* m_strip = nullptr;
    std::mt19937_64 m_random{41};
    qint64 m_nowMs = 0;

    std::optional<qint64> m_dueMs; ///< when the strip's timer would fire
    Qt::TimerType m_nextType = Qt::CoarseTimer;

    // What a user expects to see.
    QString m_work;
    QStringList m_messages;
    QStringList m_waiting;
    qint64 m_messagesEndMs = 0;
    int m_texts = 0;
    int m_timesOut = 0;

    [[nodiscard]] QTimer* timer() const { return m_strip->findChild<QTimer*>(); }

    [[nodiscard]] QString nextText() { return QString::number(++m_texts); }

    /// A timer that runs keeps its type until it is started again: by a type that
    /// was set since, a new start is told from one that goes on.
    [[nodiscard]] bool isStartedAnew() const
    {
        const auto* dispatcher = QAbstractEventDispatcher::instance();
        return dispatcher->registeredTimers(timer()).constFirst().timerType == m_nextType;
    }

    void followTimer()
    {
        if (!timer()->isActive()) {
            m_dueMs.reset();
            return;
        }
        if (!isStartedAnew())
            return;
        m_dueMs = m_nowMs + timer()->interval();
        m_nextType = m_nextType == Qt::CoarseTimer ? Qt::PreciseTimer : Qt::CoarseTimer;
        timer()->setTimerType(m_nextType);
    }

    void expectMessages(const QStringList& messages)
    {
        m_messages = messages;
        m_messagesEndMs = m_nowMs + kMessageMs;
    }

    /// The message below the others, where it was among them no longer.
    static QStringList joined(QStringList messages, const QString& message)
    {
        messages.removeAll(message);
        messages.append(message);
        return messages.mid(std::max<qsizetype>(messages.size() - kMessages, 0));
    }

    void check()
    {
        const bool shown = !m_work.isEmpty() || !m_messages.isEmpty();
        QCOMPARE(!m_strip->isHidden(), shown);
        QCOMPARE(m_window->layout()->indexOf(m_strip), shown ? 0 : -1);
        if (!shown)
            return;
        QCOMPARE(m_strip->findChild<QLabel*>()->text(),
                 m_work.isEmpty() ? m_messages.join(u'\n') : m_work);
        QCOMPARE(m_strip->findChild<QProgressBar*>()->isHidden(), m_work.isEmpty());
    }

    /// Looks at the strip whenever something could happen, and right before.
    void passUntil(qint64 endMs)
    {
        while (m_nowMs < endMs && !QTest::currentTestFailed()) {
            qint64 nextMs = endMs;
            for (const qint64 atMs :
                 {m_messagesEndMs - 1, m_messagesEndMs, m_dueMs ? *m_dueMs : endMs}) {
                if (atMs > m_nowMs)
                    nextMs = std::min(nextMs, atMs);
            }
            m_nowMs = nextMs;
            if (m_dueMs && *m_dueMs <= m_nowMs) {
                m_dueMs.reset();
                QVERIFY(QMetaObject::invokeMethod(timer(), "timeout"));
                followTimer();
            }
            if (!m_messages.isEmpty() && m_nowMs >= m_messagesEndMs) {
                m_messages.clear();
                ++m_timesOut;
            }
            check();
        }
    }

    /// Now and then what was told before.
    void tell()
    {
        const QString message = m_random() % 4 == 0 ? QString::number(m_texts - 1) : nextText();
        if (m_work.isEmpty())
            expectMessages(joined(m_messages, message));
        else
            m_waiting = joined(m_waiting, message);
        m_strip->showMessage(message);
    }

    void work()
    {
        m_work = nextText();
        m_messages.clear();
        m_strip->showWork(m_work, m_random() % 2 == 0 ? QString() : QStringLiteral("Stop it"));
    }

    void goOn()
    {
        if (m_work.isEmpty())
            return;
        if (m_random() % 2 == 0) {
            m_strip->showProgress(static_cast<int>(m_random() % 101));
            return;
        }
        m_work.clear();
        if (!m_waiting.isEmpty())
            expectMessages(std::exchange(m_waiting, {}));
        m_strip->endWork();
    }

    void close()
    {
        if (m_messages.isEmpty())
            return;
        m_messages.clear();
        m_strip->findChild<QPushButton*>()->click();
    }

    void happen()
    {
        switch (m_random() % 6) {
        case 0:
        case 1:
            tell();
            break;
        case 2:
            work();
            break;
        case 3:
            close();
            break;
        default:
            goOn();
        }
        followTimer();
        check();
    }

private slots:

    void initTestCase()
    {
        m_log = std::make_unique<LogCatcher>();
        m_window = std::make_unique<QWidget>();
        auto* layout = new QVBoxLayout(m_window.get());
        m_strip = new ActivityStrip(layout, 0, m_window.get());
    }

    void cleanupTestCase()
    {
        m_window.reset();
        m_log.reset();
    }

    void messagesLastTenSecondsAndWorkUntilItsEnd()
    {
        while (m_nowMs < kWeekMs && !QTest::currentTestFailed()) {
            happen();
            const qint64 mostMs = (m_random() % 4 == 0 ? 120 : 15) * kSecondMs;
            passUntil(m_nowMs + static_cast<qint64>(m_random() % static_cast<quint64>(mostMs)));
        }
        QVERIFY(m_timesOut > 1000);
    }
};

QTEST_MAIN(TestActivityStripWeek)
#include "tst_activitystripweek.moc"
