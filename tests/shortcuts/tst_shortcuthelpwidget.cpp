#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcuthelpwidget.h"
#include "shortcuts/shortcutregistry.h"
#include "support/logcatcher.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QSortFilterProxyModel>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <memory>

class TestShortcutHelpWidget : public QObject {
    Q_OBJECT

private:
    void showAndWait() const
    {
        m_help->showHelp();
        QVERIFY(QTest::qWaitForWindowActive(m_help.get()));
    }

    /// Rendered width of the text and the margins of its cell.
    [[nodiscard]] int widthFor(const QModelIndex& cell) const
    {
        return m_table->itemDelegate()->sizeHint(QStyleOptionViewItem(), cell).width();
    }

    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<ShortcutHelpWidget> m_help;
    QPlainTextEdit* m_filter = nullptr;
    QTableView* m_table = nullptr;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_log->tolerate(QtWarningMsg, "This plugin does not support");
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        m_help = std::make_unique<ShortcutHelpWidget>(registry);
        m_filter = m_help->findChild<QPlainTextEdit*>("plainTextEditFilter");
        m_table = m_help->findChild<QTableView*>("tableViewKeyboardShortcuts");
    }

    void cleanup()
    {
        m_help.reset();
        m_log.reset();
    }

    void theFormIsBuiltAsNamedAndSized()
    {
        QVERIFY(m_help->isWindow());
        QCOMPARE(m_help->parent(), nullptr);
        QCOMPARE(m_help->objectName(), "ShortcutHelpWidget");
        QCOMPARE(m_help->windowTitle(), "Keyboard Shortcuts");
        QCOMPARE(m_help->size(), QSize(633, 520));
        QCOMPARE(m_help->layout()->objectName(), "verticalLayout");
        QCOMPARE(m_help->layout()->itemAt(0)->layout()->objectName(), "horizontalLayout");
        QCOMPARE(m_help->layout()->itemAt(1)->widget(), m_table);

        const auto* label = m_help->findChild<QLabel*>("label");
        QCOMPARE(label->text(), "Filter");
        QCOMPARE(label->sizePolicy(), QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed));
        QCOMPARE(label->minimumSize(), QSize(0, 28));
        QCOMPARE(label->baseSize(), QSize(0, 28));

        QCOMPARE(m_filter->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed));
        QCOMPARE(m_filter->minimumSize(), QSize(0, 28));
        QCOMPARE(m_filter->maximumSize(), QSize(16777215, 28));

        QCOMPARE(m_table->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(m_table->sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(m_table->sizePolicy().verticalStretch(), 1);
    }

    void theTablesHeaderStretchesTheDetails()
    {
        const QHeaderView* header = m_table->horizontalHeader();
        QVERIFY(header->stretchLastSection());
        QCOMPARE(header->sectionResizeMode(0), QHeaderView::ResizeToContents);
        QCOMPARE(header->sectionResizeMode(1), QHeaderView::Stretch);
        QCOMPARE(header->sectionResizeMode(2), QHeaderView::ResizeToContents);
        QCOMPARE(header->sectionResizeMode(3), QHeaderView::ResizeToContents);
    }

    void controlsHaveAccessibleNames()
    {
        QCOMPARE(m_filter->accessibleName(), "Filter");
        QCOMPARE(m_table->accessibleName(), "Keyboard Shortcuts");
        QCOMPARE(m_help->findChild<QLabel*>("label")->buddy(), m_filter);
    }

    void everyTextFitsItsColumnAtTheWindowsOwnSize()
    {
        showAndWait();
        for (int row = 0; row < 24; ++row) {
            for (int column = 0; column < 4; ++column) {
                const QModelIndex cell = m_table->model()->index(row, column);
                QVERIFY2(m_table->columnWidth(column) >= widthFor(cell),
                         qPrintable(cell.data().toString()));
            }
        }
        QVERIFY(m_table->horizontalHeader()->length() <= m_table->viewport()->width());
    }

    void longDetailsWrapInANarrowWindow()
    {
        showAndWait();
        const int oneLine = m_table->rowHeight(0);
        m_help->resize(360, 520);
        QTRY_VERIFY(m_table->rowHeight(0) > oneLine);
    }

    void typingFiltersAndClearingShowsAll()
    {
        showAndWait();
        QCOMPARE(m_table->model()->rowCount(), 24);
        QVERIFY(m_filter->hasFocus());
        QTest::keyClicks(QApplication::focusWidget(), "zoom");
        QCOMPARE(m_table->model()->rowCount(), 4);
        m_filter->setPlainText("Ctrl");
        QCOMPARE(m_table->model()->rowCount(), 0);
        m_filter->setPlainText("(zoom");
        QCOMPARE(m_table->model()->rowCount(), 0);
        m_filter->clear();
        QCOMPARE(m_table->model()->rowCount(), 24);
    }

    void theModelAndItsFilterStayConsistentWhileTyping()
    {
        const QAbstractItemModelTester tester(
            m_table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        showAndWait();
        QTest::keyClicks(m_filter, "[tT]r.*k");
        QCOMPARE(m_table->model()->index(0, 0).data().toString(), "Zoom to Fit");
    }

    void escapeHidesTheWindowAndTheFilterIsKept_data()
    {
        QTest::addColumn<bool>("inTable");
        QTest::newRow("from the filter") << false;
        QTest::newRow("from the table") << true;
    }

    void escapeHidesTheWindowAndTheFilterIsKept()
    {
        QFETCH(const bool, inTable);
        showAndWait();
        QTest::keyClicks(m_filter, "zoom");
        if (inTable)
            m_table->setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QVERIFY(m_help->isHidden());

        showAndWait();
        QCOMPARE(m_filter->toPlainText(), "zoom");
        QCOMPARE(m_table->model()->rowCount(), 4);
        QVERIFY(m_filter->hasFocus());
        QTest::keyClicks(m_filter, "x");
        QCOMPARE(m_filter->toPlainText(), "zoomx");
    }

    void showingNotifiesEveryTimeAndRestoresAMinimisedWindow()
    {
        showAndWait();
        const QSignalSpy changes(m_table->model(), &QAbstractItemModel::dataChanged);
        m_help->showMinimized();
        m_help->showHelp();
        QVERIFY(!m_help->isMinimized());
        QVERIFY(m_help->isVisible());
        QCOMPARE(changes.count(), 1);
    }

    void theFilterStaysOneLine()
    {
        showAndWait();
        QGuiApplication::clipboard()->setText("zoom\r\n\nin\n");
        m_filter->paste();
        QCOMPARE(m_filter->toPlainText(), "zoom in");
        QCOMPARE(m_table->model()->index(0, 0).data().toString(), "Zoom In");
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Down, Qt::Key_Tab}) {
            m_filter->setFocus();
            QTest::keyClick(m_filter, key);
            QVERIFY(m_table->hasFocus());
            QCOMPARE(m_filter->toPlainText(), "zoom in");
        }
    }

    void pastedBlanksAreKept_data()
    {
        QTest::addColumn<QString>("pasted");
        QTest::addColumn<QString>("filter");
        QTest::newRow("around a word") << " in "
                                       << " in ";
        QTest::newRow("and a line break") << "zoom \n"
                                          << "zoom ";
        QTest::newRow("within line breaks") << "\n zoom\tin\r\n\n"
                                            << " zoom\tin";
    }

    void pastedBlanksAreKept()
    {
        QFETCH(const QString, pasted);
        showAndWait();
        QGuiApplication::clipboard()->setText(pasted);
        m_filter->paste();
        QTEST(m_filter->toPlainText(), "filter");
    }

    void theTableIsWalkedAndLeftByKeyboard()
    {
        showAndWait();
        QTest::keyClick(m_filter, Qt::Key_Return);
        QVERIFY(m_table->hasFocus());
        const int first = m_table->currentIndex().row();
        QTest::keyClick(m_table, Qt::Key_Down);
        QCOMPARE(m_table->currentIndex().row(), first + 1);
        QTest::keyClick(m_table, Qt::Key_End, Qt::ControlModifier);
        QCOMPARE(m_table->currentIndex().row(), 23);
        QVERIFY(
            m_table->viewport()->rect().intersects(m_table->visualRect(m_table->currentIndex())));
        QTest::keyClick(m_table, Qt::Key_Tab);
        QVERIFY(m_filter->hasFocus());
    }

    void theTableCannotBeEdited()
    {
        showAndWait();
        m_table->setFocus();
        m_table->setCurrentIndex(m_table->model()->index(0, 0));
        QTest::keyClick(m_table, Qt::Key_F2);
        QCOMPARE(m_table->findChild<QLineEdit*>(), nullptr);
    }

    void anOpenHelpDoesNotKeepTheProgramRunning()
    {
        showAndWait();
        QWidget mainWindow;
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowExposed(&mainWindow));
        QTimer::singleShot(0, &mainWindow, &QWidget::close);
        QTimer::singleShot(20'000, &mainWindow, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void rowsAreShadedToThePixel_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("first global") << 0 << QColor(60, 90, 60);
        QTest::newRow("last global") << 13 << QColor(60, 90, 60);
        QTest::newRow("first of the tracks") << 14 << QColor(40, 40, 40);
    }

    void rowsAreShadedToThePixel()
    {
        QFETCH(const int, row);
        m_help->resize(633, 900);
        showAndWait();
        const QImage image = m_table->viewport()->grab().toImage();
        const QRect cell = m_table->visualRect(m_table->model()->index(row, 2));
        QTEST(image.pixelColor(cell.topLeft() + QPoint(1, 1)), "expected");
    }
};

QTEST_MAIN(TestShortcutHelpWidget)
#include "tst_shortcuthelpwidget.moc"
