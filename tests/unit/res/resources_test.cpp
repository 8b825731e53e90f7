// What the program carries inside itself: images, Qt's Chinese texts, our corrections to them.
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QPushButton>
#include <QRegularExpression>
#include <QSet>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

class ResourcesTest final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void collectionHoldsExactlyTheseFiles();
    void collectionHasFormatVersionOne();
    void imageHasItsSizeAndAClearCorner_data();
    void imageHasItsSizeAndAClearCorner();
    void greenIsGreenAndGreyIsGrey();
    void theLampsAreToldApartWithoutColour();
    void qtTextsLoadFromTheRoot();
    void correctionsLoadFromTheRoot();
    void dialogButtonsAreChinese();
    void correctionsComeBeforeQtTexts();
    void correctionsConcernQtClassesOnly();
    void programTextsStayAsWritten_data();
    void programTextsStayAsWritten();
};

void ResourcesTest::initTestCase()
{
    Q_INIT_RESOURCE(kel);
}

void ResourcesTest::collectionHoldsExactlyTheseFiles()
{
    const auto root = [] {
        const QStringList names = QDir(":/").entryList(QDir::AllEntries, QDir::Name);
        return QSet<QString>(names.begin(), names.end());
    };
    const QSet<QString> with = root();
    Q_CLEANUP_RESOURCE(kel);
    const QSet<QString> without = root();
    Q_INIT_RESOURCE(kel);
    QCOMPARE(with - without, (QSet<QString>{"qt_zh_CN.qm", "res", "widgets.qm"}));
    QCOMPARE(QDir(":/res").entryList(QDir::AllEntries, QDir::Name),
             (QStringList{"green.png", "grey.png", "start.png"}));
}

void ResourcesTest::collectionHasFormatVersionOne()
{
    QFile source(KEL_QRC_SOURCE);
    QVERIFY(source.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(source.readAll());
    const auto match = QRegularExpression("int version = (\\d+);").match(text);
    QCOMPARE(match.captured(1), QString("1"));
}

void ResourcesTest::imageHasItsSizeAndAClearCorner_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("side");
    QTest::newRow("tray and window icon") << ":/res/start.png" << 128;
    QTest::newRow("answering") << ":/res/green.png" << 32;
    QTest::newRow("not answering") << ":/res/grey.png" << 32;
}

void ResourcesTest::imageHasItsSizeAndAClearCorner()
{
    QFETCH(QString, path);
    QFETCH(int, side);
    const QImage image(path);
    QCOMPARE(image.size(), QSize(side, side));
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
}

void ResourcesTest::greenIsGreenAndGreyIsGrey()
{
    const QColor green = QImage(":/res/green.png").pixelColor(16, 16);
    QCOMPARE(green.alpha(), 255);
    QVERIFY(green.hue() > 90 && green.hue() < 150);
    QVERIFY(green.saturation() > 100);
    const QImage image(":/res/grey.png");
    for (int x = 0; x < image.width(); ++x) {
        const QColor grey = image.pixelColor(x, 16);
        QVERIFY(grey.alpha() == 0 || grey.saturation() < 40);
    }
}

void ResourcesTest::theLampsAreToldApartWithoutColour()
{
    const QImage green(":/res/green.png");
    const QImage grey(":/res/grey.png");
    QCOMPARE(qAlpha(green.pixel(16, 16)), 255);
    QCOMPARE(qAlpha(grey.pixel(16, 16)), 0);
    QCOMPARE(qAlpha(grey.pixel(16 - 9, 16)), 255); // the ring around it
    QCOMPARE(qAlpha(grey.pixel(16, 16 + 9)), 255);
    // Scaled to what a row shows, it is still hollow.
    const QImage small = grey.scaled(16, 16, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QVERIFY(qAlpha(small.pixel(8, 8)) < 30);
}

void ResourcesTest::qtTextsLoadFromTheRoot()
{
    QTranslator texts;
    QVERIFY(texts.load(":/qt_zh_CN.qm", ":/"));
    QVERIFY(!texts.isEmpty());
    QCOMPARE(texts.translate("QLineEdit", "&Copy"), QStringLiteral("复制(&C)"));
}

void ResourcesTest::correctionsLoadFromTheRoot()
{
    QTranslator corrections;
    QVERIFY(corrections.load(":/widgets.qm", ":/"));
    QVERIFY(!corrections.isEmpty());
}

void ResourcesTest::dialogButtonsAreChinese()
{
    QTranslator texts;
    QVERIFY(texts.load(":/qt_zh_CN.qm", ":/"));
    QCoreApplication::installTranslator(&texts);
    const QDialogButtonBox box(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QCOMPARE(box.button(QDialogButtonBox::Ok)->text().remove("(&O)"), QStringLiteral("确定"));
    QCOMPARE(box.button(QDialogButtonBox::Cancel)->text().remove("(&C)"), QStringLiteral("取消"));
}

void ResourcesTest::correctionsComeBeforeQtTexts()
{
    QTranslator texts;
    QTranslator corrections;
    QVERIFY(texts.load(":/qt_zh_CN.qm", ":/"));
    QVERIFY(corrections.load(":/widgets.qm", ":/"));
    QCoreApplication::installTranslator(&texts);
    QCOMPARE(QCoreApplication::translate("QLineEdit", "&Undo"), QStringLiteral("撤消(&U)"));
    QCoreApplication::installTranslator(&corrections);
    QCOMPARE(QCoreApplication::translate("QLineEdit", "&Undo"), QStringLiteral("撤销(&U)"));
    QCOMPARE(QCoreApplication::translate("QLineEdit", "&Redo"), QStringLiteral("重做(&R)"));
}

void ResourcesTest::correctionsConcernQtClassesOnly()
{
    QFile source(KEL_TS_SOURCE);
    QVERIFY(source.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&source);
    int contexts = 0;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != QLatin1String("name")) {
            continue;
        }
        const QString context = xml.readElementText();
        QVERIFY2(context.size() > 1 && context[0] == 'Q' && context[1].isUpper(), qPrintable(context));
        ++contexts;
    }
    QVERIFY(!xml.hasError());
    QVERIFY(contexts > 0);
}

void ResourcesTest::programTextsStayAsWritten_data()
{
    QTest::addColumn<QByteArray>("context");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("main window") << QByteArray("MainWindow") << QByteArray("MainWindow");
    QTest::newRow("list page") << QByteArray("printerListPage") << QByteArray("Form");
    QTest::newRow("address editor's title") << QByteArray("QMessageBox") << QByteArray("Attention");
    QTest::newRow("address editor's warning")
        << QByteArray("QMessageBox") << QByteArray("Your IP Address is Invalid!");
    QTest::newRow("splitter") << QByteArray("MainWindow") << QByteArray("分割窗口");
}

void ResourcesTest::programTextsStayAsWritten()
{
    QFETCH(QByteArray, context);
    QFETCH(QByteArray, text);
    QTranslator texts;
    QTranslator corrections;
    QVERIFY(texts.load(":/qt_zh_CN.qm", ":/"));
    QVERIFY(corrections.load(":/widgets.qm", ":/"));
    QCOMPARE(texts.translate(context, text), QString());
    QCOMPARE(corrections.translate(context, text), QString());
}

QTEST_MAIN(ResourcesTest)
#include "resources_test.moc"
