/*
 * The provider "usb" of the example hosts: what is plugged into this machine, as libudev tells, in the form
 * in which discoverers read it. One thread; C, so that hosts in C and in C++ can use it.
 *
 * A record is made once and never changes. It must stay while anybody may read it: until the device is
 * unplugged, the plug-in has released it, and the host has destroyed every entity that was made of it. The
 * host counts (isHeld, entities); devicesFree frees.
 */
#ifndef EXAMPLES_DEVICES_H
#define EXAMPLES_DEVICES_H

#include <zebdiscovery/zebdiscovery.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { MAX_CHILDREN = 32 };

struct Device {
    ZEBDeviceInfo info; /* first, so that deviceOf finds the rest */
    struct Device* next;
    int isPlugged;
    /* The host's: the plug-in was offered the device and has not released it; entities made of it. */
    int isHeld;
    unsigned entities;

    /* What info points at. */
    char* texts[5];
    ZEBDeviceDescriptor configuration;
    ZEBDeviceDescriptor children[MAX_CHILDREN];
    const char* numbers[MAX_CHILDREN][5];
    /* Where it is plugged in, and which of its configurations is active. */
    char* place;
    int active;
};

struct Devices {
    /* Called for each device that comes (those that are there already first) and that goes. */
    void (*plugged)(struct Device* device);
    void (*unplugged)(struct Device* device);
    struct udev* udev;
    struct udev_monitor* monitor;
    struct Device* first;
    uint32_t lastId;
};

/* Watch; returns the descriptor to wait on for reading, or -1. */
int devicesOpen(struct Devices* devices);
/* Report what is plugged in now. */
void devicesScan(struct Devices* devices);
/* The descriptor is ready. */
void devicesReceive(struct Devices* devices);
/* Free the records that nobody can read any more; not from inside plugged and unplugged. */
void devicesFree(struct Devices* devices);
/* The end: frees all. */
void devicesClose(struct Devices* devices);

static inline struct Device* deviceOf(const ZEBDeviceInfo* info) { return (struct Device*)(uintptr_t)info; }

#ifdef __cplusplus
}
#endif

#endif
