#include "host/report/Template.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace testing;

namespace zebhost {
namespace {

struct Row {
    const char* pattern;
    const char* values;
    const char* text;
};

const Row kRows[] = {
    {"plain", "{}", "plain"},
    {"{{a}} and {{b}}", R"({"a": "x", "b": 5})", "x and 5"},
    {"[{{missing}}]", "{}", "[]"},
    {"[{{nothing}}]", R"({"nothing": null})", "[]"},
    {"{{#list}}<{{name}}>{{/list}}", R"({"list": [{"name": "a"}, {"name": "b"}]})", "<a><b>"},
    {"{{#list}}{{.}},{{/list}}", R"({"list": [1, "b"]})", "1,b,"},
    {"{{#list}}{{outer}}{{/list}}", R"({"list": [{}, {}], "outer": "o"})", "oo"},
    {"{{#list}}{{name}}{{/list}}", R"({"name": "outer", "list": [{"name": "inner"}]})", "inner"},
    {"{{#object}}{{name}}{{/object}}", R"({"object": {"name": "x"}})", "x"},
    {"{{#yes}}1{{/yes}}{{^yes}}0{{/yes}}", R"({"yes": true})", "1"},
    {"{{#yes}}1{{/yes}}{{^yes}}0{{/yes}}", R"({"yes": false})", "0"},
    {"{{#list}}1{{/list}}{{^list}}0{{/list}}", R"({"list": []})", "0"},
    {"{{#text}}1{{/text}}{{^text}}0{{/text}}", R"({"text": ""})", "0"},
    {"{{#a}}{{#b}}x{{/b}}{{/a}}y", R"({"b": true})", "y"},
    {"{{a}}", R"({"a": "{{b}}", "b": "never"})", "{{b}}"},
    {"{{a}}", R"({"a": "<b title='x' id=\"y\">&"})", "&lt;b title=&#39;x&#39; id=&quot;y&quot;&gt;&amp;"},
    {"{{a}}", R"({"a": "bell\u0007 end\n"})", "bell\ufffd end\n"},
};

TEST(ATemplate, IsFilledWithItsValues) {
    for (const Row& row : kRows)
        EXPECT_EQ(render(row.pattern, nlohmann::json::parse(row.values)), row.text) << row.pattern;
}

TEST(ATemplate, ThatIsWrongIsAnError) {
    for (const char* pattern : {"{{a", "{{#a}}", "{{/a}}", "{{#a}}{{#b}}{{/a}}{{/b}}"})
        EXPECT_THROW(render(pattern, {{"a", true}, {"b", true}}), std::logic_error) << pattern;
}

} // namespace
} // namespace zebhost
