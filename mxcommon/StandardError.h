#pragma once

namespace mxcommon {

/**
 * Write the line "[category] [0] text" straight to descriptor 2, for where no other
 * log can be trusted. Any thread. Never throws and gives up silently when a write
 * fails; a line of ordinary length needs no memory from the heap, and a longer one
 * is cut when there is none.
 */
void logToStandardError(const char* category, const char* text) noexcept;

} // namespace mxcommon
