#pragma once

// What the library of fake_libusb.cpp does; the test finds it by the function "fakeLibusb".
struct FakeLibusb
{
    int initError = 0;
    int hotplugError = 0;
    bool hasHotplug = true;
    long devices = 0; // how many get_device_list() gives, none of which is anywhere; an error when negative

    int running = 0; // contexts that are not ended
    int lists = 0;   // lists that are not freed
    int interrupts = 0;
    int waits = 0;
    long longestWaitMs = 0; // of the last wait
    bool changesAtWait = false;
    bool isDismissed = false; // who was told of a change wants to hear of no more
};
