#include "app/transportkeys.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

class TestTransportKeys : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<QWidget> m_satellite;
    std::unique_ptr<QSignalSpy> m_toggled;
    QPushButton* m_button = nullptr;
    QLineEdit* m_edit = nullptr;

private slots:

    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_satellite = std::make_unique<QWidget>();
        auto* layout = new QVBoxLayout(m_window.get());
        m_button = new QPushButton(QStringLiteral("M"));
        m_edit = new QLineEdit;
        layout->addWidget(m_button);
        layout->addWidget(m_edit);
        auto* keys = new TransportKeys(m_window.get(), m_satellite.get());
        m_toggled = std::make_unique<QSignalSpy>(keys, &TransportKeys::playToggled);
        m_window->show();
    }

    void shiftSpaceOnAButtonTogglesPlayInstead()
    {
        QSignalSpy clicked(m_button, &QPushButton::clicked);
        QTest::keyClick(m_button, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(m_toggled->count(), 1);
        QCOMPARE(clicked.count(), 0);
    }

    void shiftSpaceInATextFieldTypesASpace()
    {
        QTest::keyClick(m_edit, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(m_edit->text(), " ");
        QCOMPARE(m_toggled->count(), 0);
    }

    void returnPressesAFocusedButton()
    {
        QSignalSpy clicked(m_button, &QPushButton::clicked);
        QTest::keyClick(m_button, Qt::Key_Return);
        QTRY_COMPARE(clicked.count(), 1);
        QTest::keyClick(m_button, Qt::Key_Enter);
        QTRY_COMPARE(clicked.count(), 2);
    }

    void enterOfTheKeypadPressesAFocusedButton()
    {
        QSignalSpy clicked(m_button, &QPushButton::clicked);
        QTest::keyClick(m_button, Qt::Key_Enter, Qt::KeypadModifier);
        QTRY_COMPARE(clicked.count(), 1);
    }

    void otherModifiersAreLeftAlone()
    {
        QTest::keyClick(m_button, Qt::Key_Space, Qt::ShiftModifier | Qt::ControlModifier);
        QCOMPARE(m_toggled->count(), 0);
    }

    void returnWithAModifierPressesNoButton_data()
    {
        QTest::addColumn<int>("modifiers");
        QTest::newRow("Ctrl") << int{Qt::ControlModifier};
        QTest::newRow("Shift") << int{Qt::ShiftModifier};
        QTest::newRow("Alt") << int{Qt::AltModifier};
        QTest::newRow("Ctrl, on the keypad") << int{Qt::ControlModifier | Qt::KeypadModifier};
    }

    void returnWithAModifierPressesNoButton()
    {
        QFETCH(const int, modifiers);
        const QSignalSpy pressed(m_button, &QPushButton::pressed);
        QTest::keyClick(m_button, Qt::Key_Return, Qt::KeyboardModifiers(modifiers));
        QTest::keyClick(m_button, Qt::Key_Enter, Qt::KeyboardModifiers(modifiers));
        QCOMPARE(pressed.count(), 0);
    }

    void heldShiftSpaceOnAButtonTogglesPlayOnceAndPressesNothing()
    {
        const QSignalSpy pressed(m_button, &QPushButton::pressed);
        const QString text = QStringLiteral(" ");
        for (const bool repeated : {false, true, true})
            QTest::simulateEvent(m_button, true, Qt::Key_Space, Qt::ShiftModifier, text, repeated);
        QCOMPARE(m_toggled->count(), 1);
        QCOMPARE(pressed.count(), 0);
    }

    void heldSpaceInTheSatellitesWindowTogglesPlayOnce()
    {
        m_satellite->show();
        const QString text = QStringLiteral(" ");
        for (const bool repeated : {false, true, true})
            QTest::simulateEvent(m_satellite.get(), true, Qt::Key_Space, {}, text, repeated);
        QCOMPARE(m_toggled->count(), 1);
    }

    void theSatellitesWindowTogglesPlayWithBothKeys()
    {
        m_satellite->show();
        QTest::keyClick(m_satellite.get(), Qt::Key_Space);
        QTest::keyClick(m_satellite.get(), Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(m_toggled->count(), 2);
    }

    void keysOfOtherWindowsAreLeftAlone()
    {
        QPushButton other;
        other.show();
        QSignalSpy clicked(&other, &QPushButton::clicked);
        QTest::keyClick(&other, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(m_toggled->count(), 0);
    }
};

QTEST_MAIN(TestTransportKeys)
#include "tst_transportkeys.moc"
