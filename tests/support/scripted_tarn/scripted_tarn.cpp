#include "tests/support/scripted_tarn/scripted_tarn.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "tarn/include/tarn/tarn.h"
#include "tests/support/scripted_tarn/chaos.h"
#include "tests/support/scripted_tarn/script_file.h"

namespace kel_test {

namespace {

struct OpenedPrinter
{
    std::string name;
    ScriptedPrinter answers;
};

void pause(int milliseconds)
{
    if (milliseconds > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
}

std::string echo(const std::string& list, const std::vector<std::string>& extra)
{
    Json::Value root;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(list.data(), list.data() + list.size(), &root, nullptr);
    for (Json::Value& element : root) {
        element["isUsbPrinter"] = false;
    }
    for (const std::string& text : extra) {
        Json::Value element;
        reader->parse(text.data(), text.data() + text.size(), &element, nullptr);
        root.append(element);
    }
    return root.isNull() ? "[]" : Json::writeString(Json::StreamWriterBuilder(), root);
}

// The library's whole state. Delays and hooks run outside of its mutex.
class Library final : public TarnControl
{
public:
    Library() = default;
    ~Library() override;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void reset() override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_script = TarnScript();
        m_hook = nullptr;
        m_calls.clear();
        m_violations.clear();
        m_chaos.reset();
        m_lastList.clear();
        m_echo.reset();
        m_mostAtOnce = 0;
        m_hasBlocked = false;
    }
    TarnScript script() const override { return locked(m_script); }
    void setScript(const TarnScript& script) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        adopt(script);
    }
    void setHook(Hook hook) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_hook = std::move(hook);
    }
    std::vector<std::string> calls() const override { return locked(m_calls); }
    long count(const std::string& call) const override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::count(m_calls.begin(), m_calls.end(), call);
    }
    void clearCalls() override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.clear();
    }
    std::string lastOptions() const override { return locked(m_options); }
    std::string lastPrinterList() const override { return locked(m_lastList); }
    long textsOut() const override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<long>(m_texts.size() + m_lists.size());
    }
    long handlesOpen() const override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<long>(m_open.size());
    }
    int mostCallsAtOnce() const override { return locked(m_mostAtOnce); }
    std::vector<std::string> violations() const override { return locked(m_violations); }

    // One call of the interface, from its first line to its last.
    class Call final
    {
    public:
        Call(Library& library, const std::string& function, const std::string& printer = {});
        ~Call()
        {
            const std::lock_guard<std::mutex> lock(m_library.m_mutex);
            --m_library.m_inside;
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        Library& m_library;
    };

    int start();
    int stop();
    int setOptions(const char* options);
    int setList(const char* list);
    int getList(char** list);
    int open(const char* name, void** handle);
    int close(void** handle);
    int getState(void* handle, int* state);
    int getText(void* handle, char** out, std::optional<std::string> ScriptedPrinter::*field,
                bool isDocument);
    int getModels(char** out);
    int giveBack(char** text, std::set<char*> Library::*where, const char* function);

    std::set<char*> m_texts; // out, to come back through tarn_freeStr
    std::set<char*> m_lists; // out, to come back through tarn_freePrinterList

private:
    template <typename Value>
    Value locked(const Value& value) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return value;
    }
    void adopt(const TarnScript& script)
    {
        m_script = script;
        m_echo.reset();
        m_chaos = script.chaosSeed != 0 ? std::make_unique<Chaos>(script.chaosSeed) : nullptr;
    }
    char* handOut(const std::optional<std::string>& text, std::set<char*>& where)
    {
        if (!text) {
            return nullptr;
        }
        char* const copy = ::strdup(text->c_str());
        where.insert(copy);
        return copy;
    }

    mutable std::mutex m_mutex; // guards everything below
    TarnScript m_script;
    ScriptFile m_scriptFile;
    std::unique_ptr<Chaos> m_chaos;
    Hook m_hook;
    std::vector<std::string> m_calls;
    std::vector<std::string> m_violations;
    std::string m_options;
    std::string m_lastList;
    std::optional<std::string> m_echo; // the document that answers m_lastList, once it is made
    std::string m_models;              // the text that tarn_getModels hands out stays the library's
    std::set<OpenedPrinter*> m_open;
    int m_inside = 0;
    int m_mostAtOnce = 0;
    bool m_isStarted = false;
    bool m_hasBlocked = false;
};

// Destroyed when the library is closed for the last time, or at exit after a registry that loaded it.
Library& library()
{
    static Library instance;
    return instance;
}

Library::~Library()
{
    const std::size_t texts = m_texts.size() + m_lists.size();
    if (texts + m_open.size() > 0) {
        appendToLogFile("left out: " + std::to_string(texts) + " texts, " + std::to_string(m_open.size()) +
                        " printers open");
    }
    for (char* const text : m_texts) {
        std::free(text);
    }
    for (char* const list : m_lists) {
        std::free(list);
    }
    for (const OpenedPrinter* const opened : m_open) {
        delete opened;
    }
}

Library::Call::Call(Library& target, const std::string& function, const std::string& printer)
    : m_library(target)
{
    const std::string text = printer.empty() ? function : function + " " + printer;
    const bool isLogged = appendToLogFile(text);
    Hook hook;
    int delay = 0;
    {
        const std::lock_guard<std::mutex> lock(m_library.m_mutex);
        if (!isLogged) { // a program that is watched from outside runs for long
            m_library.m_calls.push_back(text);
        }
        TarnScript script;
        if (m_library.m_scriptFile.changed(script)) {
            m_library.adopt(script);
        }
        if (!m_library.m_isStarted && function != "tarn_init") {
            m_library.m_violations.push_back(text + " on a library that is not started");
        }
        if (m_library.m_chaos) {
            m_library.m_chaos->maybeThrow();
            delay = m_library.m_chaos->delayMs();
        }
        m_library.m_mostAtOnce = std::max(m_library.m_mostAtOnce, ++m_library.m_inside);
        hook = m_library.m_hook;
    }
    pause(delay);
    if (!hook) {
        return;
    }
    try {
        hook(function, printer);
    } catch (...) {
        const std::lock_guard<std::mutex> lock(m_library.m_mutex);
        --m_library.m_inside;
        throw;
    }
}

int Library::start()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStarted = true;
    }
    const Call call(*this, "tarn_init");
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_script.initResult;
}

int Library::stop()
{
    const Call call(*this, "tarn_destroy");
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStarted = false;
    return 0;
}

int Library::setOptions(const char* options)
{
    const Call call(*this, "tarn_setOptions");
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_options = options;
    return m_script.setOptionsResult;
}

int Library::setList(const char* list)
{
    const Call call(*this, "tarn_setPrinterList");
    pause(locked(m_script.listDelayMs));
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_lastList != list) {
        m_echo.reset();
    }
    m_lastList = list;
    return m_chaos ? m_chaos->result() : m_script.setPrinterListResult;
}

int Library::getList(char** list)
{
    const Call call(*this, "tarn_getPrinterList");
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_chaos) {
        const int result = m_chaos->result();
        *list = result == 0 ? handOut(m_chaos->list("printerName"), m_lists) : nullptr;
        return result;
    }
    if (m_script.echoList && !m_echo) {
        m_echo = echo(m_lastList, m_script.extraPrinters);
    }
    *list = handOut(m_script.echoList ? m_echo : m_script.listDocument, m_lists);
    return m_script.getPrinterListResult;
}

int Library::open(const char* name, void** handle)
{
    const Call call(*this, "tarn_openPrinter", name);
    ScriptedPrinter answers;
    int delay = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_chaos) {
            answers.openResult = m_chaos->result();
        } else if (const auto found = m_script.printers.find(name); found != m_script.printers.end()) {
            answers = found->second;
        } else if (m_script.defaultPrinter) {
            answers = *m_script.defaultPrinter;
        } else {
            answers.openResult = 404;
        }
        delay = answers.delayMs + (answers.randomDelayMs > 0 ? std::rand() % (answers.randomDelayMs + 1) : 0);
        if (m_script.blockOnceMs > 0 && !m_hasBlocked) {
            m_hasBlocked = true;
            delay = m_script.blockOnceMs;
        }
    }
    pause(delay);
    if (answers.openResult != 0) {
        return answers.openResult;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto* const opened = new OpenedPrinter{name, answers};
    m_open.insert(opened);
    *handle = opened;
    return 0;
}

int Library::close(void** handle)
{
    const Call call(*this, "tarn_closePrinter");
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto* const opened = static_cast<OpenedPrinter*>(*handle);
    if (m_open.erase(opened) == 0) {
        m_violations.push_back("tarn_closePrinter of what is not open");
        return -1;
    }
    delete opened;
    *handle = nullptr;
    return 0;
}

int Library::getState(void* handle, int* state)
{
    const Call call(*this, "tarn_getState");
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto* const opened = static_cast<OpenedPrinter*>(handle);
    if (m_open.count(opened) == 0) {
        m_violations.push_back("tarn_getState of what is not open");
        return -1;
    }
    *state = m_chaos ? m_chaos->state() : opened->answers.state;
    return opened->answers.getterResult;
}

int Library::getText(void* handle, char** out, std::optional<std::string> ScriptedPrinter::*field,
                     bool isDocument)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto* const opened = static_cast<OpenedPrinter*>(handle);
    if (m_open.count(opened) == 0) {
        m_violations.push_back("a getter of what is not open");
        return -1;
    }
    if (m_chaos) {
        *out = handOut(isDocument ? m_chaos->document() : m_chaos->text(), m_texts);
    } else {
        *out = handOut(opened->answers.*field, m_texts);
    }
    return m_chaos ? m_chaos->result() : opened->answers.getterResult;
}

int Library::getModels(char** out)
{
    const Call call(*this, "tarn_getModels");
    pause(locked(m_script.modelsDelayMs));
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::optional<std::string> document = m_chaos ? m_chaos->list("model") : m_script.modelsDocument;
    m_models = document.value_or("");
    *out = document ? m_models.data() : nullptr;
    return m_script.getModelsResult;
}

int Library::giveBack(char** text, std::set<char*> Library::*where, const char* function)
{
    const Call call(*this, function);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if ((this->*where).erase(*text) == 0) {
        m_violations.push_back(std::string(function) + " of a text that is not out");
        return -1;
    }
    std::free(*text);
    *text = nullptr;
    return 0;
}

} // namespace

} // namespace kel_test

using kel_test::library;
using kel_test::ScriptedPrinter;

extern "C" {

__attribute__((visibility("default"))) kel_test::TarnControl* scripted_tarn_control()
{
    return &library();
}

int tarn_init(void)
{
    return library().start();
}

int tarn_destroy(void)
{
    return library().stop();
}

int tarn_freeStr(char** str)
{
    return library().giveBack(str, &kel_test::Library::m_texts, "tarn_freeStr");
}

int tarn_getPrinterList(char** list)
{
    return library().getList(list);
}

int tarn_freePrinterList(char** list)
{
    return library().giveBack(list, &kel_test::Library::m_lists, "tarn_freePrinterList");
}

int tarn_openPrinter(const char* printerName, void** handle, int reserved1, int reserved2)
{
    return reserved1 == 0 && reserved2 == 0 ? library().open(printerName, handle) : 400;
}

int tarn_closePrinter(void** handle)
{
    return library().close(handle);
}

int tarn_getVersion(char** out)
{
    const kel_test::Library::Call call(library(), "tarn_getVersion");
    *out = nullptr;
    return 0;
}

int tarn_getTotalPages(void*, int* pages)
{
    const kel_test::Library::Call call(library(), "tarn_getTotalPages");
    *pages = 0;
    return 0;
}

int tarn_getSerialNumber(void* handle, char** out)
{
    const kel_test::Library::Call call(library(), "tarn_getSerialNumber");
    return library().getText(handle, out, &ScriptedPrinter::serialNumber, false);
}

int tarn_getState(void* handle, int* state)
{
    return library().getState(handle, state);
}

int tarn_getStateMessage(void* handle, char** out)
{
    const kel_test::Library::Call call(library(), "tarn_getStateMessage");
    return library().getText(handle, out, &ScriptedPrinter::stateMessage, false);
}

int tarn_getInfo(void* handle, char** out)
{
    const kel_test::Library::Call call(library(), "tarn_getInfo");
    return library().getText(handle, out, &ScriptedPrinter::info, true);
}

int tarn_getModels(char** out)
{
    return library().getModels(out);
}

int tarn_setOptions(const char* optionsJson)
{
    return library().setOptions(optionsJson);
}

int tarn_setPrinterList(const char* printerListJson)
{
    return library().setList(printerListJson);
}
}
