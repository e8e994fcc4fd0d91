#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcuthelpwidget.h"
#include "shortcuts/shortcutmodel.h"
#include "shortcuts/shortcutregistry.h"
#include "support/contrast.h"
#include "widgets/focusring.h"

#include <QTableView>
#include <QTest>

#include <algorithm>

/// The colours that the program chooses itself can be told apart.
class TestContrast : public QObject {
    Q_OBJECT

private slots:

    void theFormulaGivesTheKnownEnds()
    {
        QCOMPARE(contrast(0xff000000, 0xffffffff), 21.0);
        QCOMPARE(contrast(0xff777777, 0xff777777), 1.0);
    }

    void theFocusRingShowsOnEveryGround_data()
    {
        QTest::addColumn<quint32>("ground");
        QTest::addRow("head of a track") << quint32{0xff2a2a2a};
        QTest::addRow("button") << quint32{0xff444444};
        QTest::addRow("muted") << quint32{0xffcc4444};
        QTest::addRow("solo") << quint32{0xffcccc44};
        QTest::addRow("waveform's ground") << quint32{0xff1e1e1e};
        QTest::addRow("waveform") << quint32{0xff50b4ff};
        QTest::addRow("scope") << quint32{0xff000000};
        QTest::addRow("spectrogram at full level") << quint32{0xffffffff};
    }

    void theFocusRingShowsOnEveryGround()
    {
        QFETCH(quint32, ground);
        const double best =
            std::max(contrast(focus_ring::kOuter, ground), contrast(focus_ring::kInner, ground));
        QVERIFY2(best >= kControlContrast, qPrintable(QString::number(best)));
        QVERIFY(contrast(focus_ring::kOuter, focus_ring::kInner) >= kControlContrast);
    }

    void theHelpsRowsCanBeRead()
    {
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        const ShortcutHelpWidget help(registry);
        const QPalette palette = help.findChild<QTableView*>()->palette();
        const QRgb text = palette.color(QPalette::Text).rgb();
        QVERIFY(contrast(text, ShortcutModel::kActiveBackground.rgb()) >= kTextContrast);
        QVERIFY(contrast(text, palette.color(QPalette::Base).rgb()) >= kTextContrast);
    }
};

QTEST_MAIN(TestContrast)
#include "tst_contrast.moc"
