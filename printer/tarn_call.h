#pragma once

namespace morvik::kel {

// A text that the library handed out, and the free function that takes it back. Destroyed under the same turn
// in which the text was got, however the sequence of calls ends. A null text is nothing, and is not given
// back.
class TarnText final
{
public:
    using Free = int (*)(char**);
    TarnText(char* text, Free free) : m_text(text), m_free(free) {}
    ~TarnText()
    {
        if (m_text == nullptr) {
            return;
        }
        try {
            m_free(&m_text);
        } catch (...) { // the library's own affair: nothing of ours depends on it
        }
    }
    TarnText(const TarnText&) = delete;
    TarnText& operator=(const TarnText&) = delete;
    const char* get() const { return m_text; }

private:
    char* m_text;
    const Free m_free;
};

} // namespace morvik::kel
