#include "support/logcatcher.h"
#include "support/rowwindow.h"
#include "widgets/popout.h"

#include <QGridLayout>
#include <QTest>

#include <memory>

namespace {

struct Window : RowWindow<QWidget> {
    PopOut* popOut = new PopOut(movable);

    Window()
    {
        movable->setFocusPolicy(Qt::StrongFocus);
        movable->setMinimumSize(160, 90);
    }
};

} // namespace

class TestPopOut : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void withoutAParentNothingHappens()
    {
        QWidget alone;
        PopOut popOut(&alone);
        QVERIFY(!popOut.popOut(QStringLiteral("Title"), {300, 200}));
        QVERIFY(!popOut.isPoppedOut());
        popOut.restore();
        QVERIFY(alone.isHidden());
    }

    void popOutMakesAWindowAndLeavesAPlaceholder()
    {
        Window w;
        w.window->show();
        QVERIFY(w.popOut->popOut(QStringLiteral("Title"), {300, 200}));
        QVERIFY(w.popOut->isPoppedOut());
        QVERIFY(w.movable->isWindow() && w.movable->isVisible());
        QCOMPARE(w.movable->parentWidget(), nullptr);
        QCOMPARE(w.movable->windowTitle(), "Title");
        QCOMPARE(w.movable->size(), QSize(300, 200));
        QVERIFY(!w.movable->testAttribute(Qt::WA_QuitOnClose));

        QLabel* placeholder = w.placeholder();
        QVERIFY(placeholder != nullptr);
        QCOMPARE(placeholder->text(), QStringLiteral("Popped out — double-click to restore"));
        QCOMPARE(placeholder->alignment(), Qt::AlignCenter);
        QCOMPARE(placeholder->styleSheet(),
                 "background: #1a1a1a; color: #666; border: 1px dashed #444; font-size: 11px;");
        QCOMPARE(w.row->indexOf(placeholder), 1);
        QCOMPARE(w.row->stretch(1), 3);
        QVERIFY(placeholder->isVisible());
    }

    void popOutWhenAlreadyOutDoesNothing()
    {
        Window w;
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        QVERIFY(!w.popOut->popOut(QStringLiteral("Other"), {100, 100}));
        QCOMPARE(w.movable->windowTitle(), "Title");
    }

    void restorePutsTheWidgetBackInItsPlaceAgainAndAgain()
    {
        Window w;
        w.window->show();
        for (int i = 0; i < 10; ++i) {
            QVERIFY(w.popOut->popOut(QStringLiteral("Title"), {300, 200}));
            w.popOut->restore();
            QVERIFY(!w.popOut->isPoppedOut());
            QVERIFY(w.isInPlace());
            QVERIFY(w.movable->isVisible());
            QCOMPARE(w.movable->windowHandle(), nullptr);
            QCOMPARE(w.placeholder(), nullptr);
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(w.window->findChildren<QLabel*>().size(), 1);
    }

    void aDoubleClickOnThePlaceholderRestores()
    {
        Window w;
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        QTest::mouseDClick(w.placeholder(), Qt::RightButton);
        QVERIFY(w.popOut->isPoppedOut());
        QTest::mouseDClick(w.placeholder(), Qt::LeftButton);
        QVERIFY(w.isInPlace());
    }

    void closingTheWindowRestores()
    {
        Window w;
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        QVERIFY(w.movable->close());
        QTRY_VERIFY(w.isInPlace());
        QVERIFY(w.movable->isVisible());
    }

    void aMaximisedWindowComesBackToItsPlace()
    {
        Window w;
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        w.movable->showMaximized();
        QVERIFY(w.movable->isMaximized());
        w.popOut->restore();
        QVERIFY(w.isInPlace());
        QCOMPARE(w.movable->windowState(), Qt::WindowNoState);
    }

    void thePlaceholderTakesTheSamePlaceInTheSameWay()
    {
        Window w;
        w.movable->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        w.row->setAlignment(w.movable, Qt::AlignTop);
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        QCOMPARE(w.placeholder()->sizePolicy(), w.movable->sizePolicy());
        QCOMPARE(w.row->itemAt(1)->alignment(), Qt::AlignTop);
        w.popOut->restore();
        QCOMPARE(w.row->itemAt(1)->alignment(), Qt::AlignTop);
    }

    void thePlaceIsFoundInAnyNestedLayout()
    {
        QWidget window;
        auto* outer = new QVBoxLayout(&window);
        auto* first = new QHBoxLayout;
        auto* second = new QHBoxLayout;
        outer->addLayout(first);
        outer->addLayout(second);
        first->addWidget(new QLineEdit);
        second->addWidget(new QLineEdit);
        auto* movable = new QWidget;
        second->addWidget(movable);
        PopOut popOut(movable);
        QVERIFY(popOut.popOut(QStringLiteral("Title"), {300, 200}));
        QVERIFY(qobject_cast<QLabel*>(second->itemAt(1)->widget()));
        popOut.restore();
        QCOMPARE(second->itemAt(1)->widget(), movable);
    }

    void otherLayoutsJustGetItAdded()
    {
        QWidget window;
        auto* grid = new QGridLayout(&window);
        auto* movable = new QWidget;
        grid->addWidget(movable, 0, 0);
        grid->addWidget(new QLineEdit, 0, 1);
        PopOut popOut(movable);
        QVERIFY(popOut.popOut(QStringLiteral("Title"), {300, 200}));
        QCOMPARE(grid->count(), 2);
        popOut.restore();
        QCOMPARE(grid->count(), 2);
        QVERIFY(grid->indexOf(movable) >= 0);
        QCOMPARE(movable->parentWidget(), &window);
    }

    void withoutALayoutItComesBackToItsRectangle()
    {
        QWidget window;
        auto* movable = new QWidget(&window);
        movable->setGeometry(10, 20, 170, 95);
        PopOut popOut(movable);
        QVERIFY(popOut.popOut(QStringLiteral("Title"), {300, 200}));
        QCOMPARE(window.findChild<QLabel*>()->geometry(), QRect(10, 20, 170, 95));
        popOut.restore();
        QCOMPARE(movable->geometry(), QRect(10, 20, 170, 95));
    }

    void focusAndItsOrderAreKept()
    {
        Window w;
        w.window->show();
        QVERIFY(QTest::qWaitForWindowActive(w.window.get()));
        w.movable->setFocus();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        QTRY_VERIFY(w.movable->hasFocus());
        w.popOut->restore();
        QCOMPARE(w.window->focusWidget(), w.movable);
        QCOMPARE(w.movable->nextInFocusChain(), w.after);
        QCOMPARE(w.movable->previousInFocusChain(), w.before);
    }

    void focusElsewhereIsLeftThere()
    {
        Window w;
        w.window->show();
        QVERIFY(QTest::qWaitForWindowActive(w.window.get()));
        w.after->setFocus();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        w.popOut->restore();
        QCOMPARE(w.window->focusWidget(), w.after);
    }

    void withItsFormerParentTheWidgetIsDeleted()
    {
        Window w;
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        w.window.reset();
        QVERIFY(w.movable.isNull());
    }

    void deletedWhileOutItTakesItsPlaceholderAlong()
    {
        Window w;
        w.window->show();
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        delete w.movable;
        QCOMPARE(w.placeholder(), nullptr);
        QCOMPARE(w.row->count(), 2);
    }

    void backInPlaceTheParentOwnsItAsBefore()
    {
        Window w;
        w.popOut->popOut(QStringLiteral("Title"), {300, 200});
        w.popOut->restore();
        w.window.reset();
        QVERIFY(w.movable.isNull());
    }
};

QTEST_MAIN(TestPopOut)
#include "tst_popout.moc"
