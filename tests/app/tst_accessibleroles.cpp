#include "app/accessibleroles.h"
#include "project/velaproject.h"
#include "widgets/waveformview.h"

#include <QAccessible>
#include <QTest>

/// What assistive technology is told of our own widgets. How a client meets them is
/// tested end to end.
class TestAccessibleRoles : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() { accessible_roles::install(); }

    void theWaveformIsASliderOfTheCursorInSeconds()
    {
        const auto project = VelaProject::create(1000);
        project->addTrack("Take", 1)->samples[0].resize(4000);
        WaveformView view;
        view.setTrack(project->tracks.constFirst().data());
        view.setViewState(project.data());
        QAccessibleInterface* part = QAccessible::queryAccessibleInterface(&view);
        QCOMPARE(part->role(), QAccessible::Slider);
        QCOMPARE(part->text(QAccessible::Name), "Waveform of Take");
        QAccessibleValueInterface* value = part->valueInterface();
        QVERIFY(value != nullptr);
        QCOMPARE(value->minimumValue().toDouble(), 0.0);
        QCOMPARE(value->maximumValue().toDouble(), 4.0);
        project->cursor.position = 1500;
        QCOMPARE(value->currentValue().toDouble(), 1.5);
        value->setCurrentValue(2.25);
        QCOMPARE(project->cursor.position, 2250);
    }
};

QTEST_MAIN(TestAccessibleRoles)
#include "tst_accessibleroles.moc"
