#pragma once

#include <QByteArray>
#include <QGenericPlugin>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <memory>

#include "tests/support/remote_control/loop_probe.h"

class QWidget;

// RemoteControl lets a test drive and read a running program through a UNIX stream socket, on any platform
// plugin, the offscreen one included. The socket's path comes from KEL_REMOTE_SOCKET; one client at a time.
// Each line is a command, answered by one line: a JSON value, or "error: ..." when nothing fits.
//
//   ping                     "pong", once the event loop runs
//   trigger TEXT             triggers the first action of that text, as a menu would
//   click NAME               presses the button of that object name in a visible window
//   text NAME                the text of the label, line edit, text view or progress bar of that object name
//   type NAME TEXT           sets the text of a line edit (an octet of the address editor: NAME/0 .. NAME/3)
//   shown NAME               whether the widget of that object name is visible
//   rows NAME                the rows of that list: [{"text":...,"icon":average colour,"current":bool}]
//   count NAME               how many rows that list has
//   select NAME ROW          makes that row of the list the current one
//   windows                  class names of the visible top-level windows
//   close CLASS              closes the visible top-level window of that class
//   draw CLASS FILE          draws the visible top-level window of that class, without its frame, into a PNG file
//   call CLASS SLOT          calls a slot without arguments of the top-level window of that class
//   font                     the application's font: {"family":..,"pointSize":..,"weight":..,"italic":..}
//   icon RESOURCE            whether the application's window icon is that image
//   translate CONTEXT TEXT   what Qt's text of that context is in the application's language
//   latency-start            starts measuring how long events wait for the event loop
//   latency-finish           {"count":..,"p50":..,"p99":..,"max":..} in microseconds
//
// Threading: GUI thread only.
class RemoteControl final : public QObject
{
    Q_OBJECT

public:
    explicit RemoteControl(const QByteArray& socketPath, QObject* parent = nullptr);
    ~RemoteControl() override;

private:
    void acceptClient();
    void readClient();
    void answer(const QByteArray& line);
    QByteArray execute(const QString& command, const QString& argument);
    void dropClient();

    QByteArray m_socketPath;
    QByteArray m_pending;
    int m_listenFd = -1;
    int m_clientFd = -1;
    std::unique_ptr<QSocketNotifier> m_listenNotifier;
    std::unique_ptr<QSocketNotifier> m_clientNotifier;
    LoopProbe m_probe;
};

class RemoteControlPlugin final : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "remote_control.json")

public:
    QObject* create(const QString& name, const QString& argument) override;
};
