#pragma once

#include <QApplication>

// KelApplication is where an exception that leaves an event handler ends: one debug line, and the program
// lives on. A list that cannot be saved, for example, leaves the editor open as it was.
class KelApplication final : public QApplication
{
    Q_OBJECT

public:
    KelApplication(int& argc, char** argv);

    // False, as if nobody had handled the event, when its handler threw.
    bool notify(QObject* receiver, QEvent* event) override;
};
