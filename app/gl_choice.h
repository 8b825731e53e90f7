#pragma once

// NoGlStack keeps Qt's X11 plugin from loading a GL stack while it lives: nothing here draws with GL, and
// loading it costs a hundred milliseconds and fifty megabytes at every start. A user's own choice of
// QT_XCB_GL_INTEGRATION is left alone.
//
// The plugin makes its choice with the first native window, and this object lives around its creation only:
// what the program starts, a browser or the session's bus daemon above all, inherits the environment, and
// does want GL. Threading: the GUI thread, while no other one reads the environment but through Qt.
class NoGlStack final
{
public:
    NoGlStack();
    ~NoGlStack();
    NoGlStack(const NoGlStack&) = delete;
    NoGlStack& operator=(const NoGlStack&) = delete;

private:
    const bool m_isOurs; // the variable was not set before
};
