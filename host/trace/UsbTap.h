/*
 * The tap: a small library that is loaded before the plug-in while a trace is written. It stands between the
 * plug-in and libusb, and tells of every transfer that is submitted and that comes back. Nothing is
 * changed on the way. Without a trace it is not loaded.
 *
 * A plug-in that brings a libusb of its own, linked in, is not seen.
 */
#pragma once

#include <cstdint>

extern "C" {

struct ZebUsbTapTransfer {
    /** Tells transfers that are under way apart. */
    const void* transfer;
    int bus;
    int address;
    /** As libusb numbers types, endpoints and status. */
    int type;
    int endpoint;
    /** As submitted: for a control transfer the setup packet and then the data. */
    const unsigned char* buffer;
    int length;
    /** A transfer that comes back: how it ended, and how many bytes of data moved. */
    int status;
    int moved;
    /** A transfer that is submitted: what libusb said to it; 0 when it is under way. */
    int error;
};

enum ZebUsbTapPhase { ZebUsbTapSubmitting, ZebUsbTapRefused, ZebUsbTapEnded };

/** Called before a transfer is submitted, when libusb refused it, and before its own callback. */
using ZebUsbTapObserver = void (*)(void* context, ZebUsbTapPhase phase, const ZebUsbTapTransfer* transfer);

/** The tap's one function of its own, under the name below; a null observer ends the observation. */
using ZebUsbTapObserve = void (*)(ZebUsbTapObserver observer, void* context);
}

#define ZEB_USB_TAP_OBSERVE "zebUsbTapObserve"
