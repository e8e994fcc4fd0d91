#include "engine/capture.h"

#include <QTest>

class TestCapture : public QObject {
    Q_OBJECT

private slots:

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
