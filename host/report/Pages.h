#pragma once

namespace zebhost {

// The files page-head.html, page.css and page.html beside this, embedded by the build.

extern const char kPageHead[];
extern const char kPageStyle[];
extern const char kPageBody[];

} // namespace zebhost
