#include "host/commands/UsageFault.h"

#include "host/Nearest.h"

#include <CLI/CLI.hpp>

namespace zebhost {
namespace {

/** The command that was given, or the program itself when none was. */
const CLI::App& commandOf(const CLI::App& app) {
    std::vector<CLI::App*> given = const_cast<CLI::App&>(app).get_subcommands();
    return given.empty() ? app : *given.front();
}

std::string callOf(const CLI::App& app, const CLI::App& command) {
    return &command == &app ? app.get_name() : app.get_name() + " " + command.get_name();
}

std::vector<std::string> longOptions(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

/** Of a word that nothing takes. */
std::string strangeWord(const CLI::App& command, const std::string& call, const std::string& word) {
    if (!word.starts_with('-'))
        return "\"" + word + "\" is one word too many for \"" + call + "\"";
    std::string name = word.substr(0, word.find('='));
    std::optional<std::string> close = nearest(name, longOptions(command));
    return "\"" + call + "\" has no option \"" + name + "\"" +
           (close ? " (did you mean \"" + *close + "\"?)" : "");
}

/** The option that a text of the parser's begins with; null when it is none. */
const CLI::Option* namedFirst(const CLI::App& command, const std::string& text) {
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        // Of a flag without its dashes.
        if (text.starts_with(name + ":") || option->check_lname(text.substr(0, text.find(' '))))
            return option;
    }
    return nullptr;
}

/** Of an option that was given too often, with too little, or with a value that it doesn't take. */
std::string wrongCount(const CLI::App& command, const std::string& text) {
    const CLI::Option* option = namedFirst(command, text);
    if (option == nullptr)
        return text;
    if (option->get_items_expected_max() == 0)
        return option->get_name() + " takes no value";
    if (option->count() > 1)
        return option->get_name() + " is given more than once";
    return option->get_name() + " wants " + option->get_type_name();
}

} // namespace

// The parser tells its errors by their types alone; all else is taken from what it has read.
std::string usageFault(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = commandOf(app);
    const std::string call = callOf(app, command);
    const std::vector<std::string> strange = command.remaining();
    std::string sentence = error.what();
    if (!strange.empty())
        sentence = strangeWord(command, call, strange.front());
    else if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr)
        sentence = wrongCount(command, sentence);
    return sentence + ". \"" + call + " --help\" says more.";
}

} // namespace zebhost
