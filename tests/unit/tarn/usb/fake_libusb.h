#pragma once

#include <functional>
#include <string>

// What the library of fake_libusb.cpp does; the test finds it by the function "fakeLibusb".
struct FakeLibusb
{
    int initError = 0;
    int hotplugError = 0;
    bool hasHotplug = true;
    long devices = 0; // how many get_device_list() gives, all on bus 200; an error when negative
    int depth = 1;    // in sockets 7, 7.7 and so on; 0: root hubs

    int running = 0; // contexts that are not ended
    int lists = 0;   // lists that are not freed
    int interrupts = 0;
    int waits = 0;
    long longestWaitMs = 0; // of the last wait
    bool changesAtWait = false;
    bool isDismissed = false;     // who was told of a change wants to be told of no more
    std::function<void()> atWait; // in it

    std::string answer;     // to any question
    bool isSilent = false;  // none ever comes
    bool isDeaf = false;    // nor does the word that it was cancelled
    bool hasDriver = false; // a kernel's, at the interface
    int opened = 0;         // devices that are not closed
    int transfers = 0;      // that are not freed
    int cancelled = 0;      // transfers, so far
};
