#pragma once

namespace zebtest {

/**
 * How many descriptors this process has open, but for local sockets: the emulated bus talks to its
 * clients over those, and lets go of its ends when it likes.
 */
int countOpenDescriptors();

} // namespace zebtest
