#include "app/kel_application.h"

#include <QDebug>

#include <exception>

#include "printer/printer_exception.h"

KelApplication::KelApplication(int& argc, char** argv) : QApplication(argc, argv) {}

bool KelApplication::notify(QObject* receiver, QEvent* event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const morvik::kel::PrinterException& code) {
        qDebug() << "unhandled tarner error:" << static_cast<int>(code);
    } catch (const std::exception& error) {
        qDebug() << "unhandled error:" << error.what();
    } catch (...) {
        qDebug() << "unhandled error of an unknown kind";
    }
    return false;
}
