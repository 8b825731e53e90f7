#include "app/kel_application.h"

#include <QObject>
#include <QTimer>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "printer/printer_exception.h"

namespace {

QStringList lines;

void collect(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtDebugMsg) {
        lines << text;
    }
}

// Does something when an event comes.
class Handler : public QObject
{
public:
    explicit Handler(std::function<void()> work) : m_work(std::move(work)) {}

protected:
    bool event(QEvent*) override
    {
        m_work();
        return true;
    }

private:
    std::function<void()> m_work;
};

class KelApplicationTest : public ::testing::Test
{
protected:
    KelApplicationTest() { ::setenv("QT_QPA_PLATFORM", "offscreen", 1); }
    void SetUp() override
    {
        lines.clear();
        qInstallMessageHandler(collect);
    }
    void TearDown() override { qInstallMessageHandler(nullptr); }

    static bool send(std::function<void()> work)
    {
        static int argc = 1;
        static char name[] = "kel";
        static char* argv[] = {name, nullptr};
        const KelApplication application(argc, argv);
        Handler handler(std::move(work));
        QEvent event(QEvent::User);
        return QCoreApplication::sendEvent(&handler, &event);
    }
};

TEST_F(KelApplicationTest, EventsThatAreHandledPassUnchanged)
{
    EXPECT_TRUE(send([] {}));
    EXPECT_TRUE(lines.isEmpty());
}

TEST_F(KelApplicationTest, ExceptionOfAHandlerIsOneDebugLine)
{
    EXPECT_FALSE(send([] { throw std::runtime_error("the disk is full"); }));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].contains("the disk is full")) << lines[0].toStdString();
}

TEST_F(KelApplicationTest, PrinterExceptionIsOneDebugLineWithItsNumber)
{
    EXPECT_FALSE(send([] { throw morvik::kel::PrinterNotFound; }));
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].endsWith(" 2")) << lines[0].toStdString();
}

TEST_F(KelApplicationTest, AnythingElseIsOneDebugLineToo)
{
    EXPECT_FALSE(send([] { throw 42; }));
    EXPECT_EQ(lines.size(), 1);
}

TEST_F(KelApplicationTest, EventLoopGoesOnAfterAnExceptionInASlot)
{
    static int argc = 1;
    static char name[] = "kel";
    static char* argv[] = {name, nullptr};
    const KelApplication application(argc, argv);
    QTimer::singleShot(0, [] { throw std::runtime_error("in a slot"); });
    QTimer::singleShot(10, [] { QCoreApplication::exit(7); });
    EXPECT_EQ(QApplication::exec(), 7);
    EXPECT_EQ(lines.size(), 1);
}

} // namespace
