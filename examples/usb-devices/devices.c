#include "devices.h"

#include <libudev.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { CONFIGURATION = 2, INTERFACE = 4, ASSOCIATION = 11 }; /* kinds of descriptors */
enum { DEVICE_BYTES = 18, CLASS_OFFSET = 4, HUB_CLASS = 9 };

static char* copyOf(const char* text) { return text != NULL ? strdup(text) : NULL; }

/* All numbers of the record are decimal strings, and those of descriptors are bytes. */
static const char* number(unsigned char byte) {
    static char texts[256][4];
    snprintf(texts[byte], sizeof texts[byte], "%u", byte);
    return texts[byte];
}

static void addChild(struct Device* device, uint32_t kind, const unsigned char* bytes, const int* offsets,
                     uint32_t count) {
    uint32_t n = device->configuration.childrenCount;
    if (n == MAX_CHILDREN)
        return;
    for (uint32_t i = 0; i < count; ++i)
        device->numbers[n][i] = number(bytes[offsets[i]]);
    device->children[n] = (ZEBDeviceDescriptor){kind, 1, count, device->numbers[n], 0, NULL};
    ++device->configuration.childrenCount;
}

/* The descriptors as the device sent them: its own, then each configuration with what is in it. Only the
 * active configuration is told; a device without one has no descriptors, and no phone is seen in it. */
static void readDescriptors(struct Device* device, const unsigned char* bytes, size_t length) {
    static const int interface[] = {5, 6, 7, 2};      /* class, subclass, protocol, number */
    static const int association[] = {4, 5, 6, 2, 3}; /* ..., first interface, how many */
    int isActive = 0;
    for (size_t i = DEVICE_BYTES; i + 9 <= length && bytes[i] >= 2; i += bytes[i]) {
        const unsigned char* descriptor = &bytes[i];
        if (descriptor[1] == CONFIGURATION)
            isActive = descriptor[5] == device->active;
        else if (isActive && descriptor[1] == INTERFACE)
            addChild(device, ZEBDeviceDescriptorInterface, descriptor, interface, 4);
        else if (isActive && descriptor[1] == ASSOCIATION)
            addChild(device, ZEBDeviceDescriptorInterfaceAssociation, descriptor, association, 5);
    }
    device->configuration.kind = ZEBDeviceDescriptorConfiguration;
    device->configuration.active = 1;
    device->configuration.children = device->children;
    device->info.descriptors = &device->configuration;
    device->info.descriptorsCount = device->configuration.childrenCount > 0;
}

/* Says whether the device is worth being told of: hubs are part of the bus. */
static int readDescriptorsFile(struct Device* device) {
    char path[512];
    unsigned char bytes[4096];
    snprintf(path, sizeof path, "%s/descriptors", device->place);
    FILE* file = fopen(path, "rb");
    if (file == NULL)
        return 0;
    size_t length = fread(bytes, 1, sizeof bytes, file);
    fclose(file);
    if (length < DEVICE_BYTES || bytes[CLASS_OFFSET] == HUB_CLASS)
        return 0;
    readDescriptors(device, bytes, length);
    return 1;
}

static void deleteDevice(struct Device* device) {
    for (int i = 0; i < 5; ++i)
        free(device->texts[i]);
    free(device->place);
    free(device);
}

static int activeConfiguration(struct udev_device* source) {
    const char* value = udev_device_get_sysattr_value(source, "bConfigurationValue");
    return value != NULL ? atoi(value) : 0;
}

static struct Device* newDevice(struct udev_device* source, uint32_t id) {
    static const char* const attributes[] = {"busnum", "devnum", "idVendor", "idProduct", "product"};
    struct Device* device = calloc(1, sizeof *device);
    if (device == NULL)
        abort();
    device->isPlugged = 1;
    device->place = copyOf(udev_device_get_syspath(source));
    device->active = activeConfiguration(source);
    for (int i = 0; i < 5; ++i)
        device->texts[i] = copyOf(udev_device_get_sysattr_value(source, attributes[i]));
    device->info.deviceId = id;
    device->info.propertiesCount = 5;
    device->info.properties = (const char* const*)device->texts;
    if (readDescriptorsFile(device))
        return device;
    deleteDevice(device);
    return NULL;
}

static void goes(struct Devices* devices, struct Device* device) {
    device->isPlugged = 0;
    devices->unplugged(device);
}

/* A configuration can be chosen after the device has come, and then it is to be judged anew. One that the
 * plug-in holds keeps its record. */
static void comes(struct Devices* devices, struct Device* known, struct udev_device* source) {
    if (known != NULL &&
        (known->isHeld || known->entities > 0 || known->active == activeConfiguration(source)))
        return;
    if (known != NULL)
        goes(devices, known);
    struct Device* device = newDevice(source, ++devices->lastId);
    if (device == NULL)
        return;
    device->next = devices->first;
    devices->first = device;
    devices->plugged(device);
}

static void handle(struct Devices* devices, struct udev_device* source) {
    const char* action = udev_device_get_action(source); /* null for what is there already */
    const char* type = udev_device_get_devtype(source);
    const char* place = udev_device_get_syspath(source);
    struct Device* known = devices->first;
    while (known != NULL && (!known->isPlugged || strcmp(known->place, place) != 0))
        known = known->next;
    if (type == NULL || strcmp(type, "usb_device") != 0)
        return;
    if (action == NULL || strcmp(action, "remove") != 0)
        comes(devices, known, source);
    else if (known != NULL)
        goes(devices, known);
}

int devicesOpen(struct Devices* devices) {
    /* udevd's messages come when its rules are done, and with them the rights to open the device. */
    const char* sender = access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel";
    devices->udev = udev_new();
    devices->monitor = udev_monitor_new_from_netlink(devices->udev, sender);
    if (devices->monitor == NULL || udev_monitor_enable_receiving(devices->monitor) < 0)
        return -1;
    return udev_monitor_get_fd(devices->monitor);
}

void devicesScan(struct Devices* devices) {
    struct udev_enumerate* enumerate = udev_enumerate_new(devices->udev);
    struct udev_list_entry* entry;
    udev_enumerate_add_match_subsystem(enumerate, "usb");
    udev_enumerate_scan_devices(enumerate);
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate)) {
        struct udev_device* source =
            udev_device_new_from_syspath(devices->udev, udev_list_entry_get_name(entry));
        if (source != NULL)
            handle(devices, source);
        udev_device_unref(source);
    }
    udev_enumerate_unref(enumerate);
}

void devicesReceive(struct Devices* devices) {
    struct udev_device* source = udev_monitor_receive_device(devices->monitor);
    if (source != NULL)
        handle(devices, source);
    udev_device_unref(source);
}

void devicesFree(struct Devices* devices) {
    struct Device** link = &devices->first;
    while (*link != NULL) {
        struct Device* device = *link;
        if (device->isPlugged || device->isHeld || device->entities > 0) {
            link = &device->next;
            continue;
        }
        *link = device->next;
        deleteDevice(device);
    }
}

void devicesClose(struct Devices* devices) {
    for (struct Device* device = devices->first; device != NULL; device = device->next)
        device->isPlugged = device->isHeld = 0;
    devicesFree(devices);
    udev_monitor_unref(devices->monitor);
    udev_unref(devices->udev);
}
