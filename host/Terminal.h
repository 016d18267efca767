#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace zebhost {

enum class Colour { None, Good, Notable, Bad, Faint };

/** Is the file a terminal that is not a dumb one, and NO_COLOR not set? */
bool coloursWanted(std::FILE* file);

/** The text in that colour, or as it is. */
std::string painted(std::string text, Colour colour, bool colours);

/** The same, with what is no UTF-8 replaced by U+FFFD: as the JSON lines have it. */
std::string asUtf8(std::string_view text);

/** A device chooses its own texts: none may move the cursor or colour the terminal. Bytes that are no UTF-8
 *  are replaced; both kinds of control characters become question marks. */
std::string printable(std::string_view text);

/** What is wrong, on the standard error. It may name what a user, a file or a plug-in has chosen. */
void complain(const std::string& sentence);

/** How many characters of UTF-8 these are; each is taken to be one column wide. */
size_t shownWidth(std::string_view text);

} // namespace zebhost
