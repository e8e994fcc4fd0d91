#include "engine/capture.h"
#include "support/signalmakers.h"

#include <QTest>

class TestCapture : public QObject {
    Q_OBJECT

private slots:

    void appendContinuesAMonoTakeInOrder()
    {
        Track take(QStringLiteral("Recording"), 1, 44100);
        const QList<float> captured = signal_makers::counter(5000);
        qsizetype done = 0;
        for (const qsizetype chunk :
             {qsizetype{1}, qsizetype{1023}, qsizetype{3000}, qsizetype{976}}) {
            capture::append(take, captured.constData() + done, chunk);
            done += chunk;
            QCOMPARE(take.length(), done);
        }
        QCOMPARE(take.samples[0], captured);
    }

    void appendMakesMissingChannelLists()
    {
        Track take(QStringLiteral("Recording"), 1, 44100);
        take.samples.clear();
        const float sample = 0.5F;
        capture::append(take, &sample, 1);
        QCOMPARE(take.samples, (QList<QList<float>>{{0.5F}}));
    }

    void appendSplitsByTheTracksChannels()
    {
        Track take(QStringLiteral("Recording"), 2, 44100);
        const QList<float> interleaved{1.0F, -1.0F, 2.0F, -2.0F, 3.0F, -3.0F};
        capture::append(take, interleaved.constData(), 3);
        QCOMPARE(take.samples, (QList<QList<float>>{{1.0F, 2.0F, 3.0F}, {-1.0F, -2.0F, -3.0F}}));
    }

    void firstChannelTakesEveryChannelCountThSample()
    {
        const QList<float> interleaved{1.0F, -1.0F, 2.0F, -2.0F, 3.0F, -3.0F};
        QList<float> out;
        capture::firstChannel(interleaved.constData(), 3, 2, out);
        QCOMPARE(out, (QList<float>{1.0F, 2.0F, 3.0F}));
        capture::firstChannel(interleaved.constData(), 2, 1, out);
        QCOMPARE(out, (QList<float>{1.0F, -1.0F}));
    }
};

QTEST_APPLESS_MAIN(TestCapture)
#include "tst_capture.moc"
