// A session manager for tests (XSMP, through libSM): prints the address that SESSION_MANAGER must name, waits
// for one client, and at the line "end" on its standard input ends the session: save yourself, then die.
// Prints "registered", "saved" and "gone" as the client gets there.

#include <X11/ICE/ICElib.h>
#include <X11/ICE/ICEutil.h>
#include <X11/SM/SMlib.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

SmsConn g_client = nullptr;
IceConn g_ice = nullptr;
bool g_gone = false;

void say(const char* what)
{
    std::puts(what);
    std::fflush(stdout);
}

Status registerClient(SmsConn connection, SmPointer, char* previousId)
{
    std::free(previousId);
    SmsRegisterClientReply(connection, SmsGenerateClientID(connection));
    say("registered");
    return 1;
}

void saveYourselfDone(SmsConn connection, SmPointer, Bool)
{
    say("saved");
    SmsDie(connection);
}

void closeConnection(SmsConn connection, SmPointer, int count, char** reasons)
{
    SmFreeReasons(count, reasons);
    SmsCleanUp(connection);
    g_gone = true;
}

void setProperties(SmsConn, SmPointer, int count, SmProp** properties)
{
    for (int i = 0; i < count; ++i) {
        SmFreeProperty(properties[i]);
    }
    std::free(properties);
}

void deleteProperties(SmsConn, SmPointer, int count, char** names)
{
    for (int i = 0; i < count; ++i) {
        std::free(names[i]);
    }
    std::free(names);
}

void getProperties(SmsConn connection, SmPointer)
{
    SmsReturnProperties(connection, 0, nullptr);
}

Status newClient(SmsConn connection, SmPointer, unsigned long* mask, SmsCallbacks* callbacks, char**)
{
    g_client = connection;
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask | SmsSaveYourselfDoneProcMask |
            SmsCloseConnectionProcMask | SmsSetPropertiesProcMask | SmsDeletePropertiesProcMask |
            SmsGetPropertiesProcMask;
    callbacks->register_client.callback = registerClient;
    callbacks->interact_request.callback = [](SmsConn c, SmPointer, int) { SmsInteract(c); };
    callbacks->interact_done.callback = [](SmsConn, SmPointer, Bool) {};
    callbacks->save_yourself_request.callback = [](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {};
    callbacks->save_yourself_phase2_request.callback = [](SmsConn c, SmPointer) { SmsSaveYourselfPhase2(c); };
    callbacks->save_yourself_done.callback = saveYourselfDone;
    callbacks->close_connection.callback = closeConnection;
    callbacks->set_properties.callback = setProperties;
    callbacks->delete_properties.callback = deleteProperties;
    callbacks->get_properties.callback = getProperties;
    return 1;
}

Bool acceptEveryHost(char*)
{
    return True;
}

// False when the input ended.
bool readCommand()
{
    char line[64];
    if (std::fgets(line, sizeof line, stdin) == nullptr) {
        return false;
    }
    if (std::strcmp(line, "end\n") == 0 && g_client != nullptr) {
        SmsSaveYourself(g_client, SmSaveBoth, True, SmInteractStyleNone, False);
    }
    return true;
}

void serve(IceListenObj listener)
{
    while (!g_gone) {
        pollfd fds[] = {{STDIN_FILENO, POLLIN, 0},
                        {IceGetListenConnectionNumber(listener), POLLIN, 0},
                        {g_ice != nullptr ? IceConnectionNumber(g_ice) : -1, POLLIN, 0}};
        if (poll(fds, 3, -1) < 0) {
            return;
        }
        if (fds[0].revents != 0 && !readCommand()) {
            return;
        }
        if (fds[1].revents != 0) {
            IceAcceptStatus status = IceAcceptFailure;
            g_ice = IceAcceptConnection(listener, &status);
        }
        if (fds[2].revents != 0 && IceProcessMessages(g_ice, nullptr, nullptr) == IceProcessMessagesIOError) {
            g_gone = true;
        }
    }
    say("gone");
}

} // namespace

int main()
{
    char error[256] = "";
    int count = 0;
    IceListenObj* listeners = nullptr;
    // A lost connection is told by IceProcessMessages; the default handler would end this program.
    IceSetIOErrorHandler([](IceConn) {});
    if (SmsInitialize("kel-test", "1", newClient, nullptr, acceptEveryHost, sizeof error, error) == 0 ||
        IceListenForConnections(&count, &listeners, sizeof error, error) == 0) {
        std::fprintf(stderr, "session manager: %s\n", error);
        return 1;
    }
    for (int i = 0; i < count; ++i) {
        IceSetHostBasedAuthProc(listeners[i], acceptEveryHost);
        char* const address = IceGetListenConnectionString(listeners[i]);
        const bool local =
            std::string(address).rfind("local/", 0) == 0 || std::string(address).rfind("unix/", 0) == 0;
        if (local) {
            say(address);
            serve(listeners[i]);
            IceFreeListenObjs(count, listeners);
            return 0;
        }
        std::free(address);
    }
    std::fputs("session manager: no local socket\n", stderr);
    return 1;
}
