#include "tests/ui/printer_list_support.h"

#include <QtTest>

class TestPrinterListEquivalence : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void behavesAsTheNaiveAlgorithm_data();
    void behavesAsTheNaiveAlgorithm();
    void tenThousandRowsFollowTheRegistry();
};

void TestPrinterListEquivalence::initTestCase()
{
    Q_INIT_RESOURCE(kel);
}

void TestPrinterListEquivalence::init()
{
    fakeRegistry().reset();
}

void TestPrinterListEquivalence::behavesAsTheNaiveAlgorithm_data()
{
    QTest::addColumn<quint32>("seed");
    const quint32 start = qEnvironmentVariableIsSet("KEL_TEST_SEED")
                              ? qEnvironmentVariable("KEL_TEST_SEED").toUInt()
                              : QRandomGenerator::global()->generate();
    for (quint32 i = 0; i < 20; ++i) {
        QTest::addRow("seed %u", start + i) << start + i;
    }
}

namespace {

const std::vector<std::string> kNames = {"A",
                                         "B",
                                         "a",
                                         "打印机",
                                         "三楼",
                                         "",
                                         "x y",
                                         "é",
                                         "e\u0301",
                                         "\xff",
                                         "\xef\xbb\xbf"
                                         "A",
                                         "LongerThanTheSmallStringBuffer-0001"};

// Plays the same random moves on the page and on the naive list.
class Duel
{
public:
    Duel(quint32 seed, PrinterListPage& page) : m_random(seed), m_page(page), m_list(listOf(page))
    {
        QObject::connect(&page, &PrinterListPage::currentItemChanged, &page,
                         [this](const QString& name) { m_reported << name; });
    }

    void move()
    {
        switch (m_random.bounded(10)) {
        case 0:
        case 1:
        case 2:
            shuffleRegistry();
            [[fallthrough]];
        case 3:
        case 4:
            m_page.refreshPrinterList();
            m_naive.refresh(fakeRegistry().printers);
            break;
        case 5:
        case 6:
        case 7: {
            const PrinterContext context = anyPrinter();
            m_page.updatePrinterStatus(context);
            m_naive.update(context);
            break;
        }
        case 8:
            select();
            break;
        default:
            meddle();
        }
    }

    [[nodiscard]] bool agree() const
    {
        return naiveRows(*m_list) == naiveRows(m_naive.list) &&
               m_list->currentRow() == m_naive.list.currentRow() && m_reported == m_naive.reported;
    }

private:
    PrinterContext anyPrinter()
    {
        return printer(kNames[m_random.bounded(quint32(kNames.size()))], m_random.bounded(2) != 0 ? "x" : "");
    }

    void shuffleRegistry()
    {
        std::vector<PrinterContext>& printers = fakeRegistry().printers;
        switch (m_random.bounded(4)) {
        case 0:
            printers.clear();
            for (quint32 i = m_random.bounded(quint32(kNames.size())); i > 0; --i) {
                printers.push_back(anyPrinter());
            }
            break;
        case 1:
            std::shuffle(printers.begin(), printers.end(), m_random);
            break;
        case 2:
            printers.push_back(anyPrinter());
            break;
        default:
            if (!printers.empty()) {
                printers.erase(printers.begin() + m_random.bounded(int(printers.size())));
            }
        }
    }

    void select()
    {
        const int row = m_random.bounded(m_list->count() + 1) - 1;
        m_list->setCurrentRow(row);
        m_naive.list.setCurrentRow(row);
    }

    // What nobody should do, but could: rows that others add, rename, take, sort or clear.
    void meddle()
    {
        const int row = m_random.bounded(m_list->count() + 1) - 1;
        const QString name = QString::fromStdString(anyPrinter().printerName);
        const quint32 deed = m_random.bounded(6U);
        for (QListWidget* list : {m_list, &m_naive.list}) {
            if (deed == 0) {
                list->addItem(name);
            } else if (deed == 1) {
                list->insertItem(0, name);
            } else if (deed == 2 && row >= 0) {
                list->item(row)->setText(name);
            } else if (deed == 3 && row >= 0) {
                delete list->takeItem(row);
            } else if (deed == 4) {
                list->sortItems();
            } else if (deed == 5 && row == 0) {
                list->clear();
            }
        }
    }

    QRandomGenerator m_random;
    PrinterListPage& m_page;
    QListWidget* m_list;
    NaivePrinterList m_naive;
    QStringList m_reported;
};

} // namespace

void TestPrinterListEquivalence::behavesAsTheNaiveAlgorithm()
{
    QFETCH(quint32, seed);
    PrinterListPage page(nullptr);
    Duel duel(seed, page);
    for (int step = 0; step < 500; ++step) {
        duel.move();
        QVERIFY2(duel.agree(), qPrintable(QStringLiteral("KEL_TEST_SEED=%1 step %2").arg(seed).arg(step)));
    }
}

void TestPrinterListEquivalence::tenThousandRowsFollowTheRegistry()
{
    PrinterListPage page(nullptr);
    page.show();
    for (int i = 0; i < 10000; ++i) {
        fakeRegistry().printers.push_back(printer("printer-" + std::to_string(i), ""));
    }
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->count(), 10000);
    QCoreApplication::processEvents();

    const QSignalSpy changes(listOf(page)->model(), &QAbstractItemModel::dataChanged);
    const QSignalSpy inserted(listOf(page)->model(), &QAbstractItemModel::rowsInserted);
    const QSignalSpy removed(listOf(page)->model(), &QAbstractItemModel::rowsRemoved);
    page.refreshPrinterList();
    page.updatePrinterStatus(printer("printer-9999", "x"));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(inserted.count() + removed.count(), 0);
    QCOMPARE(iconOf(listOf(page)->item(9999)), IconKind::Green);
    QCOMPARE(iconOf(listOf(page)->item(9998)), IconKind::Grey);

    fakeRegistry().printers.erase(fakeRegistry().printers.begin() + 5000);
    page.refreshPrinterList();
    QCOMPARE(removed.count(), 1);
    QCOMPARE(listOf(page)->item(5000)->text(), QStringLiteral("printer-5001"));
}

QTEST_MAIN(TestPrinterListEquivalence)
#include "test_printer_list_equivalence.moc"
