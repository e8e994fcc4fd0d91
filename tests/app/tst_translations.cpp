#include "app/activitystrip.h"
#include "app/iconbutton.h"
#include "app/translation.h"
#include "app/vela.h"
#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcuthelpwidget.h"
#include "shortcuts/shortcutregistry.h"
#include "support/logcatcher.h"
#include "widgets/trackheaderwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QApplication>
#include <QBoxLayout>
#include <QFile>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPainter>
#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QTranslator>
#include <QXmlStreamReader>

#include <memory>
#include <registerresources.h>

namespace {

struct Message {
    QString context;
    QString source;
    QString translation;
    bool unfinished = false;
};

QList<Message> messagesOf(const QString& fileName)
{
    QFile file(QStringLiteral(VELA_SOURCE_DIR "/translations/") + fileName);
    QList<Message> messages;
    if (!file.open(QIODevice::ReadOnly))
        return messages;
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            messages.append({context, xml.readElementText(), {}, false});
        } else if (xml.name() == QLatin1String("translation")) {
            messages.last().unfinished = xml.attributes().hasAttribute(QLatin1String("type"));
            messages.last().translation = xml.readElementText();
        }
    }
    return messages;
}

QStringList matchesOf(const QString& pattern, const QString& text)
{
    QStringList found;
    for (const auto& match : QRegularExpression(pattern).globalMatch(text))
        found.append(match.captured());
    found.sort();
    return found;
}

/// Every text half as long again as it is, which covers every language that
/// needs two fifths more room than English.
class LongTexts : public QTranslator {
public:
    using QTranslator::QTranslator;

    [[nodiscard]] QString translate(const char* /*context*/, const char* source,
                                    const char* /*comment*/, int /*n*/) const override
    {
        const QString text = QString::fromUtf8(source);
        // A single letter stays one: it is a sign and not a word.
        return text.size() < 2 ? text : text + QString((text.size() + 1) / 2, QChar(0x00e4));
    }

    [[nodiscard]] bool isEmpty() const override { return false; }
};

bool hasRoomForItsText(const QWidget* widget)
{
    if (const auto* label = qobject_cast<const QLabel*>(widget); label && label->wordWrap())
        return label->heightForWidth(label->width()) <= label->height();
    return widget->sizeHint().width() <= widget->width();
}

/// The texts of labels and buttons inside `window` that are cut off. Toolbar
/// buttons show none, and the name of a track is elided.
QStringList clippedTexts(const QWidget& window)
{
    QStringList clipped;
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        const bool isName = label->inherits("NameLabel");
        if (label->isVisible() && !isName && !hasRoomForItsText(label))
            clipped.append(label->text());
    }
    for (const QPushButton* button : window.findChildren<QPushButton*>()) {
        const bool fits = button->inherits("IconButton") || hasRoomForItsText(button) ||
                          button->fontMetrics().horizontalAdvance(button->text()) < button->width();
        if (button->isVisible() && !fits)
            clipped.append(button->text());
    }
    return clipped;
}

QStringList visibleTexts(const QWidget& window)
{
    QStringList texts{window.windowTitle()};
    for (const QWidget* widget : window.findChildren<QWidget*>())
        texts << widget->toolTip() << widget->accessibleName() << widget->accessibleDescription();
    for (const QLabel* label : window.findChildren<QLabel*>())
        texts.append(label->text());
    for (const QAbstractButton* button : window.findChildren<QAbstractButton*>())
        texts.append(button->text());
    return texts;
}

} // namespace

/// The German translation, and the room that the layouts leave for others.
class TestTranslations : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<LongTexts> m_longTexts; ///< until cleanup(), once installed

    static void closeNextBox(QStringList* texts, QStringList* clipped)
    {
        auto* poll = new QTimer(qApp);
        connect(poll, &QTimer::timeout, poll, [poll, texts, clipped] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            poll->stop();
            poll->deleteLater();
            *texts = visibleTexts(*box);
            *clipped = clippedTexts(*box);
            box->reject();
        });
        poll->start(10);
    }

    static std::unique_ptr<Vela> makeWindow()
    {
        auto window = std::make_unique<Vela>();
        window->addTrack();
        window->addTrack();
        window->show();
        return window;
    }

    void installLongTexts()
    {
        m_longTexts = std::make_unique<LongTexts>();
        QCoreApplication::installTranslator(m_longTexts.get());
    }

    /// Installs what a row of languages() stands for.
    void speak()
    {
        QFETCH(bool, german);
        QFETCH(Qt::LayoutDirection, direction);
        if (german)
            translation::install(QLocale(QLocale::German, QLocale::Germany));
        else
            installLongTexts();
        QGuiApplication::setLayoutDirection(direction);
    }

    static void languages()
    {
        QTest::addColumn<bool>("german");
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::addRow("German") << true << Qt::LeftToRight;
        QTest::addRow("texts half as long again") << false << Qt::LeftToRight;
        QTest::addRow("from right to left") << false << Qt::RightToLeft;
    }

private slots:

    void initTestCase() { registerResources(); }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_log->tolerate(QtWarningMsg, QStringLiteral("This plugin does not support"));
    }

    void cleanup()
    {
        qDeleteAll(qApp->findChildren<QTranslator*>());
        m_longTexts.reset();
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
        m_log.reset();
    }

    void everyTextIsTranslatedIntoGerman()
    {
        const QStringList sameInBoth{"M", "S", "Solo", "Filter", "Name", "|<", ">|", "Position"};
        const QList<Message> messages = messagesOf(QStringLiteral("vela_de.ts"));
        QVERIFY(messages.size() > 100);
        QCOMPARE(messages.size(), messagesOf(QStringLiteral("vela.ts")).size());
        for (const Message& message : messages) {
            const QByteArray what =
                (message.context + QStringLiteral(": ") + message.source).toUtf8();
            QVERIFY2(!message.unfinished && !message.translation.isEmpty(), what);
            if (!sameInBoth.contains(message.source))
                QVERIFY2(message.translation != message.source, what);
        }
    }

    void whatTheProgramReadsInATextIsKept_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addRow("placeholders") << "%[0-9]";
        QTest::addRow("accelerators") << "&(?=\\w)";
        QTest::addRow("file patterns and the marks between them") << R"(\*\.[a-z0-9*]+|;;|\(\*)";
        QTest::addRow("ellipses") << "…";
    }

    void whatTheProgramReadsInATextIsKept()
    {
        QFETCH(QString, pattern);
        int texts = 0;
        for (const Message& message : messagesOf(QStringLiteral("vela_de.ts"))) {
            const QStringList marks = matchesOf(pattern, message.source);
            QCOMPARE(matchesOf(pattern, message.translation), marks);
            texts += marks.isEmpty() ? 0 : 1;
        }
        QVERIFY(texts > 0);
    }

    void acceleratorsOfOneDialogDiffer()
    {
        QStringList letters;
        for (const Message& message : messagesOf(QStringLiteral("vela_de.ts")))
            letters += matchesOf(QStringLiteral("&\\w"), message.translation.toLower());
        QCOMPARE(letters.removeDuplicates(), 0);
    }

    void theLanguageIsTheFirstThatThereIs_data()
    {
        QTest::addColumn<QStringList>("wanted");
        QTest::addColumn<QString>("language");
        QTest::addRow("German") << QStringList{"de"} << "de";
        QTest::addRow("of Austria") << QStringList{"de-AT", "de-Latn-AT", "de"} << "de";
        QTest::addRow("of Austria alone") << QStringList{"de-AT"} << "de";
        QTest::addRow("English") << QStringList{"en-GB", "en"} << "";
        QTest::addRow("no locale") << QStringList{"C"} << "";
        QTest::addRow("nothing") << QStringList{} << "";
        QTest::addRow("not translated into") << QStringList{"xx-XX", "xx"} << "";
        QTest::addRow("second choice") << QStringList{"xx", "de-DE", "de"} << "de";
        QTest::addRow("English before German") << QStringList{"en-US", "en", "de"} << "";
    }

    void theLanguageIsTheFirstThatThereIs()
    {
        QFETCH(QStringList, wanted);
        QTEST(translation::languageFor(wanted), "language");
    }

    void forEnglishNothingIsInstalled()
    {
        translation::install(QLocale(QLocale::English, QLocale::UnitedKingdom));
        translation::install(QLocale::c());
        QVERIFY(qApp->findChildren<QTranslator*>().isEmpty());
    }

    void theWindowSpeaksGerman()
    {
        translation::install(QLocale(QLocale::German, QLocale::Switzerland));
        const auto window = makeWindow();
        window->findChild<ActivityStrip*>()->showMessage(QStringLiteral("…"));
        QCOMPARE(window->findChild<IconButton*>("pushButtonLoad")->text(), "Laden");
        QCOMPARE(window->findChild<IconButton*>("pushButtonLoad")->toolTip(), "Projekt öffnen");
        QCOMPARE(window->project()->tracks[1]->name, "Spur 2");

        QStringList shown = visibleTexts(*window);
        QVERIFY(shown.contains(QStringLiteral("Wellenform von Spur 1")));
        QStringList box;
        QStringList clipped;
        closeNextBox(&box, &clipped);
        QVERIFY(!window->clear());
        QVERIFY(box.contains(QStringLiteral("&Verwerfen")));
        QCOMPARE(clipped, QStringList());
        shown += box;
        for (const Message& message : messagesOf(QStringLiteral("vela_de.ts"))) {
            if (message.translation != message.source)
                QVERIFY2(!shown.contains(message.source), qPrintable(message.source));
        }
    }

    void theHelpSpeaksGerman()
    {
        translation::install(QLocale(QLocale::German, QLocale::Germany));
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        const ShortcutHelpWidget help(registry);
        QCOMPARE(help.windowTitle(), "Tastenkürzel");
        const auto* table = help.findChild<QTableView*>();
        QCOMPARE(table->model()->index(1, 0).data(), "Wiedergabe / Stopp");
        QCOMPARE(table->model()->headerData(3, Qt::Horizontal), "Taste");
    }

    void longerTextsAreLonger()
    {
        installLongTexts();
        const auto window = makeWindow();
        QCOMPARE(window->findChild<IconButton*>("pushButtonPlayStop")->text(), "Playää");
    }

    void textsHaveRoomInTheWindow_data() { languages(); }

    void textsHaveRoomInTheWindow()
    {
        speak();
        const auto window = makeWindow();
        window->findChild<ActivityStrip*>()->showMessage(
            QStringLiteral("A message that is so long that it takes more than one line ")
                .repeated(4));
        QTest::mouseDClick(window->findChild<UnifiedAudioScope*>(), Qt::LeftButton);
        QCoreApplication::processEvents();
        QCOMPARE(clippedTexts(*window), QStringList());
        QVERIFY(window->minimumSizeHint().width() < 800);

        QStringList box;
        QStringList clipped{QStringLiteral("no box was seen")};
        closeNextBox(&box, &clipped);
        QVERIFY(!window->clear());
        QCOMPARE(clipped, QStringList());
    }

    void textsHaveRoomWhereThereIsNoTrack_data() { languages(); }

    void textsHaveRoomWhereThereIsNoTrack()
    {
        speak();
        Vela window;
        window.show();
        window.findChild<ActivityStrip*>()->showWork(QStringLiteral("Opening"),
                                                     QStringLiteral("Stop"));
        QCoreApplication::processEvents();
        QCOMPARE(clippedTexts(window), QStringList());
    }

    void textsHaveRoomInTheHelp_data() { languages(); }

    void textsHaveRoomInTheHelp()
    {
        speak();
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        ShortcutHelpWidget help(registry);
        help.showHelp();
        QVERIFY(QTest::qWaitForWindowExposed(&help));
        QCOMPARE(clippedTexts(help), QStringList());
        const auto* table = help.findChild<QTableView*>();
        for (int column = 0; column < 4; ++column) {
            const QModelIndex cell = table->model()->index(6, column);
            const QSize needed = table->sizeHintForIndex(cell);
            QVERIFY(table->rowHeight(6) >= needed.height());
            if (column != 1) // its texts go on in a second line
                QVERIFY(table->columnWidth(column) >= needed.width());
        }
    }

    void fromRightToLeftTheWindowIsMirroredButForTheTransport()
    {
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        const auto window = makeWindow();
        const auto* main = window->findChild<QWidget*>("widgetMain");
        QStringList fromRight;
        for (int x = main->width(); x > 0; --x) {
            const QWidget* there = main->childAt(x, 20);
            if (there != nullptr && there->objectName() != fromRight.value(fromRight.size() - 1))
                fromRight.append(there->objectName());
        }
        QCOMPARE(fromRight, (QStringList{"pushButtonLoad", "pushButtonSave", "pushButtonClear",
                                         "pushButtonGoEnd", "pushButtonRecord", "pushButtonStop",
                                         "pushButtonPlayStop", "pushButtonGoStart", "labelPosition",
                                         "pushButtonHelp"}));
        const auto* strip = window->findChild<TrackWidget*>();
        QVERIFY(strip->header()->x() > strip->waveform()->x());
    }

    void fromRightToLeftTheTabKeyStillPassesTheToolbarInItsOrder()
    {
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        const auto window = makeWindow();
        const QWidget* button = window->findChild<IconButton*>("pushButtonClear");
        for (const char* name : {"pushButtonGoStart", "pushButtonPlayStop", "pushButtonStop",
                                 "pushButtonRecord", "pushButtonGoEnd"}) {
            button = button->nextInFocusChain();
            QCOMPARE(button->objectName(), QLatin1String(name));
        }
    }

    void fromRightToLeftKeysAreSpelledFromLeftToRight()
    {
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        const auto drawn = [&registry] {
            ShortcutHelpWidget help(registry);
            help.showHelp();
            auto* table = help.findChild<QTableView*>();
            const QModelIndex zoomIn = table->model()->index(10, 3);
            QStyleOptionViewItem option;
            option.initFrom(table);
            option.font = table->font();
            option.rect = QRect(0, 0, 200, 30);
            QImage image(option.rect.size(), QImage::Format_RGB32);
            image.fill(Qt::white);
            QPainter painter(&image);
            table->itemDelegateForIndex(zoomIn)->paint(&painter, option, zoomIn);
            return image;
        };
        const QImage usual = drawn();
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        QVERIFY(drawn() == usual);
    }

    void fromRightToLeftTimeStillRunsToTheRight()
    {
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        const auto window = makeWindow();
        auto* view = window->findChild<WaveformView*>();
        view->setViewRange(0, qint64{10} * view->width());
        QCOMPARE(view->xToSample(5), 50);
        QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(30, 40));
        QCOMPARE(window->project()->cursor.position, 300);
    }
};

QTEST_MAIN(TestTranslations)
#include "tst_translations.moc"
