#include "registerresources.h"
#include "support/contrast.h"
#include "support/logcatcher.h"

#include <QFile>
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <QTest>

#include <array>
#include <optional>

namespace {

constexpr int kToolbarIconPx = 24;
constexpr std::array<double, 2> kScales = {1.0, 2.0};
constexpr int kOpaqueAlpha = 255;

/// An icon is more than a hairline and less than a block.
constexpr double kMinimumCoverage = 0.05;
constexpr double kMaximumCoverage = 0.85;

constexpr std::array<QRgb, 3> kBackgrounds = {0xffefefef, 0xff2b2b2b, 0xff353535};

QImage rendered(const QString& path, int sizePx, double scale)
{
    const QPixmap pixmap = QIcon(path).pixmap(QSize(sizePx, sizePx), scale);
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

/// Share of the pixels that are at least half covered.
double coverage(const QImage& image)
{
    int covered = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            covered += qAlpha(image.pixel(x, y)) >= 128 ? 1 : 0;
        }
    }
    return double(covered) / (image.width() * image.height());
}

} // namespace

class TestIcons : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() { registerResources(); }

    void init() { m_log.emplace(); }

    void cleanup() { m_log.reset(); }

    void everyPath_isCompiledIn_data()
    {
        addToolbarIcons();
        addLogo();
    }

    void everyPath_isCompiledIn()
    {
        QFETCH(QString, path);
        QVERIFY2(QFile::exists(path), qPrintable(path));
        registerResources();
        QVERIFY2(QFile::exists(path), "a second registration must change nothing");
    }

    void toolbarIcon_isDrawnAtBothScales_data() { addToolbarIcons(); }

    void toolbarIcon_isDrawnAtBothScales()
    {
        QFETCH(QString, path);
        for (const double scale : kScales) {
            const QImage image = rendered(path, kToolbarIconPx, scale);
            QCOMPARE(image.width(), int(kToolbarIconPx * scale));
            const double share = coverage(image);
            QVERIFY2(share > kMinimumCoverage && share < kMaximumCoverage,
                     qPrintable(QString::number(share)));
        }
    }

    void toolbarIcon_leavesItsCornersFree_data() { addToolbarIcons(); }

    void toolbarIcon_leavesItsCornersFree()
    {
        QFETCH(QString, path);
        const QImage image = rendered(path, kToolbarIconPx, 1.0);
        const int last = kToolbarIconPx - 1;
        for (const QPoint corner :
             {QPoint(0, 0), QPoint(last, 0), QPoint(0, last), QPoint(last, last)}) {
            QCOMPARE(qAlpha(image.pixel(corner)), 0);
        }
    }

    void toolbarIcon_standsOutOnLightAndDark_data() { addToolbarIcons(); }

    void toolbarIcon_standsOutOnLightAndDark()
    {
        QFETCH(QString, path);
        for (const double scale : kScales) {
            const QImage image = rendered(path, kToolbarIconPx, scale);
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    const QRgb pixel = image.pixel(x, y);
                    if (qAlpha(pixel) < kOpaqueAlpha) {
                        continue;
                    }
                    for (const QRgb background : kBackgrounds) {
                        QVERIFY2(contrast(pixel, background) >= kControlContrast,
                                 qPrintable(QString::number(pixel, 16)));
                    }
                }
            }
        }
    }

    void toolbarIcons_areAllDifferent()
    {
        const QStringList paths = toolbarIcons();
        for (qsizetype i = 0; i < paths.size(); ++i) {
            for (qsizetype j = i + 1; j < paths.size(); ++j) {
                QVERIFY2(rendered(paths[i], kToolbarIconPx, 1.0) !=
                             rendered(paths[j], kToolbarIconPx, 1.0),
                         qPrintable(paths[i] + " = " + paths[j]));
            }
        }
    }

    void logo_isDrawnFromTaskBarToPosterSize_data()
    {
        QTest::addColumn<int>("sizePx");
        for (const int size : {16, 24, 48, 128, 512}) {
            QTest::addRow("%d px", size) << size;
        }
    }

    void logo_isDrawnFromTaskBarToPosterSize()
    {
        QFETCH(int, sizePx);
        const QImage image = rendered(logoPath(), sizePx, 1.0);
        QCOMPARE(image.size(), QSize(sizePx, sizePx));
        QVERIFY(coverage(image) > 0.9);
        // The plate frames the sail on any desktop, and the mast stands out on the plate.
        const QRgb plate = image.pixel(sizePx / 2, sizePx / 32);
        const QRgb mast = image.pixel(sizePx / 2, sizePx / 2);
        for (const QRgb background : kBackgrounds) {
            QVERIFY(contrast(plate, background) >= kControlContrast);
        }
        QVERIFY(contrast(mast, plate) >= kControlContrast);
    }

private:
    static QString logoPath() { return QStringLiteral(":/vector/logo.svg"); }

    static QStringList toolbarIcons()
    {
        return {":/icons/app/load.svg",    ":/icons/app/save.svg",       ":/icons/app/clear.svg",
                ":/icons/app/help.svg",    ":/icons/media/previous.svg", ":/icons/media/play.svg",
                ":/icons/media/pause.svg", ":/icons/media/stop.svg",     ":/icons/media/record.svg",
                ":/icons/media/next.svg"};
    }

    static void addLogo() { QTest::addRow("logo") << logoPath(); }

    static void addToolbarIcons()
    {
        QTest::addColumn<QString>("path");
        for (const QString& path : toolbarIcons()) {
            QTest::addRow("%s", qPrintable(path)) << path;
        }
    }

    std::optional<LogCatcher> m_log;
};

QTEST_MAIN(TestIcons)
#include "tst_icons.moc"
