#include "app/gl_choice.h"

#include <QByteArray>

namespace {

constexpr const char* kVariable = "QT_XCB_GL_INTEGRATION";

} // namespace

NoGlStack::NoGlStack() : m_isOurs(!qEnvironmentVariableIsSet(kVariable))
{
    if (m_isOurs) {
        qputenv(kVariable, "none");
    }
}

NoGlStack::~NoGlStack()
{
    if (m_isOurs) {
        qunsetenv(kVariable);
    }
}
