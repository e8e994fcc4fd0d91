#include "app/iconbutton.h"

#include <QPainter>
#include <QTest>

class TestIconButton : public QObject {
    Q_OBJECT

private:
    static QImage drawn(IconButton& button)
    {
        QImage image(button.size(), QImage::Format_RGB32);
        button.render(&image);
        return image;
    }

private slots:

    void keepsItsTextForAssistiveTechnologyButPaintsTheIconAlone()
    {
        IconButton withText;
        withText.finish(QStringLiteral(":/none.svg"), QStringLiteral("Play it"));
        const QImage bare = drawn(withText);
        withText.setText(QStringLiteral("Play"));
        QCOMPARE(withText.text(), "Play");
        QCOMPARE(drawn(withText), bare);

        QPixmap red(24, 24);
        red.fill(Qt::red);
        withText.setIcon(red);
        QCOMPARE(drawn(withText).pixelColor(15, 15), QColor(Qt::red));
    }

    void finishFixesSizeIconSizeAndToolTip()
    {
        IconButton button;
        QCOMPARE(button.minimumSize(), QSize(2, 2));
        button.finish(QStringLiteral(":/none.svg"), QStringLiteral("Play it"));
        QCOMPARE(button.minimumSize(), QSize(30, 30));
        QCOMPARE(button.maximumSize(), QSize(30, 30));
        QCOMPARE(button.iconSize(), QSize(24, 24));
        QCOMPARE(button.toolTip(), "Play it");
    }
};

QTEST_MAIN(TestIconButton)
#include "tst_iconbutton.moc"
