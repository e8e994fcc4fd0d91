#include "app/transportkeys.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

namespace {

class KeyWindow : public QWidget {
public:
    QList<QKeyCombination> keys;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Space)
            keys.append(event->keyCombination());
    }
};

} // namespace

class TestTransportKeys : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<KeyWindow> m_window;
    QPushButton* m_button = nullptr;
    QLineEdit* m_edit = nullptr;

private slots:

    void init()
    {
        m_window = std::make_unique<KeyWindow>();
        auto* layout = new QVBoxLayout(m_window.get());
        m_button = new QPushButton(QStringLiteral("M"));
        m_edit = new QLineEdit;
        layout->addWidget(m_button);
        layout->addWidget(m_edit);
        new TransportKeys(m_window.get());
        m_window->show();
    }

    void shiftSpaceOnAButtonReachesTheWindowOnly()
    {
        QSignalSpy clicked(m_button, &QPushButton::clicked);
        QTest::keyClick(m_button, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(m_window->keys, QList<QKeyCombination>{Qt::SHIFT | Qt::Key_Space});
        QCOMPARE(clicked.count(), 0);
    }

    void shiftSpaceInATextFieldTypesASpace()
    {
        QTest::keyClick(m_edit, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(m_edit->text(), " ");
        QVERIFY(m_window->keys.isEmpty());
    }

    void returnPressesAFocusedButton()
    {
        QSignalSpy clicked(m_button, &QPushButton::clicked);
        QTest::keyClick(m_button, Qt::Key_Return);
        QTRY_COMPARE(clicked.count(), 1);
        QTest::keyClick(m_button, Qt::Key_Enter);
        QTRY_COMPARE(clicked.count(), 2);
    }

    void keysOfOtherWindowsAreLeftAlone()
    {
        QPushButton other;
        other.show();
        QSignalSpy clicked(&other, &QPushButton::clicked);
        QTest::keyClick(&other, Qt::Key_Space, Qt::ShiftModifier);
        QCOMPARE(clicked.count(), 1);
        QVERIFY(m_window->keys.isEmpty());
    }
};

QTEST_MAIN(TestTransportKeys)
#include "tst_transportkeys.moc"
