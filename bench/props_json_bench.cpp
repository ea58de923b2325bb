// Property trees from JSON values and back. The baseline is the text reader on the same data, which builds one
// tree of the same size; and, to see that the cost per value doesn't grow, a tree of a tenth of the size.

#include <memory>
#include <string>

#include <vexa/json/Props.h>
#include <vexa/json/Reader.h>

#include "bench.h"

namespace {

struct Tree {
    std::string text;
    JSON::Value value;
    VProp prop;
};

/// A list of records with numbers, a text and a nested list: ten values each.
std::shared_ptr<Tree> records(int values) {
    auto const tree = std::make_shared<Tree>();
    tree->text = "[";
    for (int i = 0; i < values / 10; ++i) {
        std::string const n = std::to_string(i);
        if (i > 0) tree->text += ',';
        tree->text += "{\"gain\":" + n + ".5,\"id\":" + n + ",\"name\":\"channel " + n +
                      "\",\"on\":true,\"position\":[" + n + ",2,3,-4]}";
    }
    tree->text += ']';
    tree->value = JSON::parse(tree->text);
    JSON::create_value(tree->value, tree->prop);
    return tree;
}

/// One structure with a member for each value.
std::shared_ptr<Tree> wide_structure(int values) {
    auto const tree = std::make_shared<Tree>();
    JSON::Map members;
    for (int i = 0; i < values; ++i) members.emplace("member" + std::to_string(i), i);
    tree->value = std::move(members);
    tree->text = JSON::dump(tree->value, false);
    JSON::create_value(tree->value, tree->prop);
    return tree;
}

void get(Tree const& tree) { Vexa::bench::keep(JSON::get_value(tree.prop)); }
void set(Tree& tree) { JSON::set_value(tree.value, tree.prop); }
void parse(Tree const& tree) { Vexa::bench::keep(JSON::parse(tree.text)); }
void create(Tree const& tree) {
    VProp prop;
    JSON::create_value(tree.value, prop);
    Vexa::bench::keep(prop);
}

void compare(Vexa::bench::Table& table, std::string const& name, std::shared_ptr<Tree> (*make)(int)) {
    auto const large = make(1'000'000);
    auto const small = make(100'000);
    auto const add = [&](std::string const& what, auto action) {
        table.compare({.name = what + " " + name + " / parse",
                       .candidate = [=] { action(*large); },
                       .baseline = [=] { parse(*large); },
                       .clock = Vexa::bench::Clock::thread});
        table.compare({.name = what + " " + name + " 1M / 100k, per value",
                       .target = 0.4,
                       .candidate = [=] { action(*large); },
                       .baseline = [=] { action(*small); },
                       .scale = 10,
                       .clock = Vexa::bench::Clock::thread});
    };
    add("get_value", get);
    add("create_value", create);
    add("set_value", set);
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    compare(table, "records", records);
    compare(table, "wide", wide_structure);
    return table.run();
}
