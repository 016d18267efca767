#include "host/commands/Help.h"

namespace zebhost::help {

const char kAbout[] =
    "zebhost loads a discoverer plug-in and drives it as a device's own host does: it offers it the\n"
    "USB devices of this machine and prints what it finds.";

const char kCommands[] = R"(Examples:
  zebhost run                      watch what is plugged in, until Ctrl-C
  zebhost run --for 30 --json      for half a minute, one JSON object a line
  zebhost list                     what is plugged in, and what of it would be offered
  zebhost explain 1-1.2            why is the phone at this port not found?
  zebhost doctor                   why does this machine find no phone?
  zebhost run --report page.html   where did the time go? A page for a browser
  zebhost COMMAND --help           what a command can do, with examples

Exit status: 0 ended as asked; 1 could not be done, or the plug-in stopped by itself; 2 wrong command
line or configuration; 3 the plug-in broke its contract (see the lines marked "violation").)";

const char kRun[] = R"(Examples:
  zebhost run                      watch what is plugged in, until Ctrl-C
  zebhost run --for 30 --json      for half a minute, one JSON object a line
  zebhost run --log debug          with everything that the plug-in has to say
  zebhost run --property aapmodel=Bench --property aapserial=0001
                                   tell phones another name for this accessory
  zebhost run --dry-run            what would be offered to the plug-in, and why
  zebhost run --trace run.json     every call and transfer, for ui.perfetto.dev
  zebhost run --report page.html   where the time went, for a browser
  zebhost run --allow 1209:0001 --deny 18d1
                                   offer this device too, and nothing of that vendor
  zebhost run --plugin build/asan/libzebdiscoverer-usb.so
                                   drive another build of the plug-in

Only what shows a phone's interfaces is offered, unless an option says otherwise. A phone that can
be switched to accessory mode is asked to. Reading USB devices needs the right
to open /dev/bus/usb/BUS/DEVICE: run as root, or give your user access by a udev rule.

Exit status: 0 ended as asked; 1 could not run, or the plug-in stopped by itself; 2 wrong command
line or configuration; 3 the plug-in broke its contract (see the lines marked "violation").)";

const char kList[] = R"(Examples:
  zebhost list                     each device with its port, ids and name, and the verdict on it
  zebhost list --json              one device a line, for programs
  zebhost list --allow 1209:0001   what would be offered with this option of "zebhost run"

No device is asked anything, and no plug-in is needed.

Exit status: 0 listed; 1 the system could not be asked; 2 wrong command line or configuration.)";

const char kExplain[] = R"(Examples:
  zebhost explain 1-1.2            what is plugged in at this port
  zebhost explain 001/005          the same by bus and device number, as "zebhost run" prints it
  zebhost explain 1-1.2 --json     for programs

Says what the device shows, whether its node can be opened, what the policy and the plug-in say of it,
its network if it shares one, and what to do next. The device is asked nothing.

Exit status: 0 explained; 1 there is no such device; 2 wrong command line or configuration.)";

const char kDoctor[] = R"(Examples:
  zebhost doctor                   what is fine, what is not, and what to do next
  zebhost doctor --json            one finding a line, for programs
  zebhost doctor --plugin ./libzebdiscoverer-usb.so
                                   will this plug-in load?

Looks at device nodes, udev, the kernel's drivers for tethering, other programs that open phones,
libusb and the plug-in. No device is asked anything.

Exit status: 0 no problem (there may be warnings); 1 at least one problem; 2 wrong command line.)";

const char kPhones[] = R"(Examples:
  zebhost phones                   what each simulated phone stands for, and what becomes of it
  zebhost phones --json            one phone a line, for programs
  zebhost demo --phone ncm         see one of them at work

Exit status: 0 listed; 1 the catalogue is not installed; 2 wrong command line or configuration.)";

const char kDemo[] = R"(Examples:
  zebhost demo                     two phones are found, one of them switched to accessory mode
  zebhost demo --phone ncm         what zebhost makes of one phone, see "zebhost phones"

Exit status: 0 everything happened as told; 1 it did not, or the demonstration is not installed; 2 wrong
command line.)";

const char kVersion[] = R"(Examples:
  zebhost version                  for a report of a fault
  zebhost version --json           for programs

Exit status: 0 told; 2 wrong command line or configuration.)";

const char kReport[] = R"(Examples:
  zebhost report run.json          make run.json.html of what "zebhost run --trace run.json" wrote
  zebhost report run.json -o page.html
  zebhost run --report page.html   both at once

The page needs no network and runs no script. It shows for each phone where the time went from the
plug to the command: the stages, the transfers of the hand-shake, the timers, and the log. A trace of a run
that was killed will do.

Exit status: 0 written; 1 the trace can't be read or the page not written; 2 wrong command line.)";

} // namespace zebhost::help
