#include "engine/takewriter.h"
#include "project/addressspacelimit.h"
#include "support/signalmakers.h"

#include <QTest>

#include <new>
#include <optional>

/// A take for which there is no more memory.
class TestTakeWriterMemory : public QObject {
    Q_OBJECT

private slots:

    void theRoomAheadIsUsedUpAndNothingOfTheTakeIsLost_data()
    {
        QTest::addColumn<bool>("isCopied");
        QTest::newRow("a take that nobody shares") << false;
        QTest::newRow("a take that is being saved") << true;
    }

    void theRoomAheadIsUsedUpAndNothingOfTheTakeIsLost()
    {
        QFETCH(bool, isCopied);
        const auto take = TrackHandle::create(QStringLiteral("Recording"), 1, 44100);
        TakeWriter writer(take);
        const QList<float> block = signal_makers::counter(1 << 20);
        writer.append(block.constData(), block.size());
        std::optional<Track> copy;
        if (isCopied)
            copy = *take;
        const qsizetype room = take->samples.constFirst().capacity() / block.size();
        QVERIFY(room > 16);
        qint64 blocks = 1;
        {
            const AddressSpaceLimit limit(qint64{16} << 20);
            QVERIFY(limit.isSet());
            for (; blocks < room; ++blocks)
                writer.append(block.constData(), block.size());
            for (int i = 0; i < 2; ++i) {
                QVERIFY_THROWS_EXCEPTION(std::bad_alloc,
                                         writer.append(block.constData(), block.size()));
                QCOMPARE(take->length(), blocks * block.size());
            }
        }
        writer.append(block.constData(), block.size());
        ++blocks;
        QCOMPARE(take->length(), blocks * block.size());
        for (qsizetype b = 0; b < blocks; ++b)
            QCOMPARE(take->samples.constFirst().mid(b * block.size(), block.size()), block);
    }

    // There is memory for one of two channels to grow, which asks for as much again as
    // it has. The frames are never looked at.
    void aChannelThatCannotGrowLeavesTheOtherOnesSamples()
    {
        const auto take = TrackHandle::create(QStringLiteral("Recording"), 2, 44100);
        TakeWriter writer(take);
        const QList<float> block{1.0F, -1.0F, 2.0F, -2.0F};
        const QList<QList<float>> split{{1.0F, 2.0F}, {-1.0F, -2.0F}};
        writer.append(block.constData(), 2);
        const qsizetype capacity = take->samples.constFirst().capacity();
        QCOMPARE(take->samples.constLast().capacity(), capacity);
        {
            const AddressSpaceLimit limit(capacity * qint64{sizeof(float)} * 3 / 2);
            QVERIFY(limit.isSet());
            for (int i = 0; i < 2; ++i) {
                QVERIFY_THROWS_EXCEPTION(std::bad_alloc,
                                         writer.append(block.constData(), capacity));
                QCOMPARE(take->samples, split);
            }
            QVERIFY(take->samples.constFirst().capacity() > capacity);
            QCOMPARE(take->samples.constLast().capacity(), capacity);
        }
        writer.append(block.constData(), 2);
        QCOMPARE(take->samples,
                 (QList<QList<float>>{{1.0F, 2.0F, 1.0F, 2.0F}, {-1.0F, -2.0F, -1.0F, -2.0F}}));
    }
};

QTEST_APPLESS_MAIN(TestTakeWriterMemory)
#include "tst_takewritermemory.moc"
