#include "app/gl_choice.h"

#include <QByteArray>

namespace {

constexpr const char* variable = "QT_XCB_GL_INTEGRATION";

} // namespace

NoGlStack::NoGlStack() : m_isOurs(!qEnvironmentVariableIsSet(variable))
{
    if (m_isOurs)
        qputenv(variable, "none");
}

NoGlStack::~NoGlStack()
{
    if (m_isOurs)
        qunsetenv(variable);
}
