#pragma once

// NoGlStack keeps Qt's X11 plugin from loading a GL stack while it lives: nothing here draws with GL, and
// loading it costs a hundred milliseconds and fifty megabytes at every start. A user's own choice of
// QT_XCB_GL_INTEGRATION is left alone.
//
// The plugin makes its choice with the first native window. After that this object must go: what the program
// starts, a browser above all, inherits the environment and does want GL.
// Threading: only while no other thread reads the environment.
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
