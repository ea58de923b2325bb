#include "stacks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>

#include "console.h"
#include "input_file.h"
#include "text.h"

namespace Vexa::tool {
namespace {

constexpr std::uint64_t block_bytes = 8 << 20;

bf::FileImp const& imp_of(bf::FileInterface const& file) {
    if (auto const* imp = dynamic_cast<bf::FileImp const*>(&file)) return *imp;
    throw std::logic_error("A file of an unknown kind.");
}

template <typename T>
JSON::Value list_of(std::vector<T> const& values) {
    JSON::List list;
    for (auto const& value : values) {
        if constexpr (std::is_same_v<T, double>)
            list.push_back(json_number(value));
        else if constexpr (std::is_same_v<T, std::string>)
            list.push_back(as_utf8(value));
        else
            list.push_back(JSON::Number(value));
    }
    return list;
}

JSON::Value exponents_json(units::RuntimeValue const& unit) {
    JSON::List list;
    for (auto const& exponent : unit.exponents)
        list.push_back(JSON::List{JSON::Number(exponent.numerator), JSON::Number(exponent.denominator)});
    return list;
}

void put_units(JSON::Map& map, bf::StackInterface& stack) {
    JSON::List texts, exponents, factors;
    for (std::size_t axis = 0; axis < stack.shape().size(); ++axis) {
        auto const& unit = stack.units(axis);
        texts.push_back(unit_text(unit));
        exponents.push_back(exponents_json(unit));
        factors.push_back(json_number(unit.value));
    }
    map["units"] = std::move(texts);
    map["unit_exponents"] = std::move(exponents);
    map["unit_factors"] = std::move(factors);
    auto const& unit = stack.data_units();
    map["data_unit"] = unit_text(unit);
    map["data_unit_exponents"] = exponents_json(unit);
    map["data_unit_factor"] = json_number(unit.value);
}

void put_record(JSON::Map& map, bf::StackInterface& stack) {
    auto const record = record_of(stack);
    map["compression"] = JSON::Number(record.compression_type);
    map["compression_level"] = JSON::Number(record.compression_level);
    map["data_less"] = JSON::Boolean(record.data_less);
    map["variable_size"] = JSON::Boolean(record.variable_size);
    map["stack_position"] = JSON::Number(record.stack_position);
    map["data_start_position"] = JSON::Number(record.data_start_position);
    map["data_length"] = JSON::Number(record.data_length);
    map["end_of_stack_position"] = JSON::Number(record.end_of_stack_position);
    map["stack_format_version"] = JSON::Number(record.stack_format_version);
    map["samples_written"] = JSON::Number(record.samples_written);
    map["flush_block_size"] = JSON::Number(record.flush_block_size);
    map["flush_positions"] = JSON::Number(record.flush_positions.size());
    JSON::List records;
    for (auto const& [logical, position] : record.chunk_records)
        records.push_back(JSON::List{JSON::Number(logical), JSON::Number(position)});
    map["chunk_records"] = std::move(records);
    map["status"] = JSON::Number(stack.io_status());
}

std::string ratio_text(bf::StackInterface const& stack) {
    auto const stored = stored_bytes(stack);
    auto const samples = sample_bytes(stack);
    if (stored == 0 || samples == 0) return "-";
    return fmt::format("{:.2f}", static_cast<double>(samples) / static_cast<double>(stored));
}

std::string axis_units_text(bf::StackInterface const& stack) {
    std::vector<std::string> texts;
    for (std::size_t axis = stack.shape().size(); axis-- > 0;) {
        auto const text = unit_text(stack.units(axis));
        texts.push_back(text.empty() ? "-" : text);
    }
    bool const none = std::all_of(texts.begin(), texts.end(), [](auto const& text) { return text == "-"; });
    return none ? "-" : fmt::format("{}", fmt::join(texts, " x "));
}

std::size_t width_of(std::string const& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace

bf::StackRecord record_of(bf::StackInterface const& stack) {
    if (auto const* imp = dynamic_cast<bf::StackImp const*>(&stack)) return imp->record();
    throw std::logic_error("A stack of an unknown kind.");
}

unsigned long metadata_position(bf::FileInterface const& file) { return imp_of(file).metadata_position(); }

std::string const* stored_document(bf::FileInterface const& file) {
    auto const& tags = imp_of(file).tags();
    auto const found = tags.find("ome_xml");
    return found == tags.end() ? nullptr : &found->second;
}

FilePtr open_vbf(std::filesystem::path const& path) {
    { InputFile const readable(path); }
    try {
        return open_file(path, bf::DiskFile::Mode::read);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        std::string const reason = error.what();
        bool const foreign = reason == "No VBF file header found." ||
                             (InputFile(path).size() < 26 && reason != "Error reading .dbl file.");
        throw Failure(
            foreign ? Exit::no_input : Exit::damaged,
            fmt::format("{}: {}", path.string(), foreign ? "No VBF file header found." : printable(reason)));
    }
}

unsigned long find_stack(bf::FileInterface const& file, std::string const& argument) {
    auto const count = file.get_num_stacks();
    if (argument.starts_with('=')) {
        auto const name = argument.substr(1);
        auto found = count;
        for (unsigned long index = count; index-- > 0;)
            if (file.get_stack(index)->name() == name) {
                if (found != count)
                    throw Failure(
                        Exit::wrong_use,
                        fmt::format("The stacks {} and {} both have the name \"{}\"; use the index.", index,
                                    found, printable(name)));
                found = index;
            }
        if (found == count)
            throw Failure(Exit::wrong_use,
                          fmt::format("There is no stack with the name \"{}\".", printable(name)));
        return found;
    }
    unsigned long index = 0;
    auto const* const end = argument.data() + argument.size();
    auto const [at, error] = std::from_chars(argument.data(), end, index);
    if (error != std::errc() || at != end)
        throw Failure(Exit::wrong_use,
                      fmt::format("\"{}\" is neither the index of a stack nor \"=\" and its name.",
                                  printable(argument)));
    if (index >= count)
        throw Failure(Exit::wrong_use, fmt::format("There is no stack {}, the file has {}.", index, count));
    return index;
}

void failing_as(Exit exit, std::filesystem::path const& path, std::function<void()> const& part) {
    try {
        part();
    } catch (Failure const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        throw Failure(exit, fmt::format("{}: {}", path.string(), printable(error.what())));
    }
}

void reading(std::filesystem::path const& path, std::function<void()> const& part) {
    failing_as(Exit::damaged, path, part);
}

void for_each_block(bf::StackInterface const& stack,
                    std::function<void(void const* samples, std::uint64_t count)> const& take) {
    auto const size = vexa_dt_get_size(stack.type());
    std::uint64_t const total = stack.number_of_elements();
    if (total == 0) return;
    if (size == 0) throw std::runtime_error("Unknown type of elements.");
    auto const block = std::min<std::uint64_t>(std::max<std::uint64_t>(block_bytes / size, 1), total);
    std::vector<unsigned char> buffer(block * size);
    for (std::uint64_t at = 0; at < total;) {
        unsigned long position = at;
        auto const n =
            stack.read(stack.type(), buffer.data(), nullptr, std::min(block, total - at), position);
        if (n == 0) throw std::runtime_error("The stack ends too early.");
        take(buffer.data(), n);
        at += n;
    }
}

std::uint64_t stored_bytes(bf::StackInterface const& stack) {
    auto const record = record_of(stack);
    if (record.chunk_records.empty()) return record.data_length;
    // Records of a damaged stack may say anything.
    auto const& [logical, position] = record.chunk_records.back();
    if (position < logical || position - logical > record.data_length) return record.data_length;
    return record.data_length - (position - logical);
}

std::uint64_t sample_bytes(bf::StackInterface const& stack) {
    std::uint64_t bytes = 0;
    return __builtin_mul_overflow(vexa_dt_get_size(stack.type()), stack.number_of_elements(), &bytes) ? 0
                                                                                                      : bytes;
}

std::string state_text(bf::StackInterface& stack) {
    if (record_of(stack).data_less) return "data-less";
    if (vexa_dt_get_size(stack.type()) == 0) return "unreadable";
    if (stack.samples_written() < stack.number_of_elements()) return "short";
    return "complete";
}

JSON::Value stack_json(bf::StackInterface& stack, unsigned long index) {
    JSON::Map map;
    map["index"] = JSON::Number(index);
    map["name"] = as_utf8(stack.name());
    map["description"] = as_utf8(stack.description());
    auto const type = type_text(stack.type());
    if (!type.starts_with("0x"))
        map["type"] = type;
    else
        map["type"] = nullptr;
    map["type_code"] = JSON::Number(stack.type());
    map["shape"] = list_of(stack.shape());
    map["lengths"] = list_of(stack.lengths());
    map["offsets"] = list_of(stack.offsets());
    map["labels"] = list_of(stack.labels());
    map["elements"] = JSON::Number(stack.number_of_elements());
    JSON::Map tags;
    for (auto const& key : stack.tag_keys())
        tags[as_utf8(key)] =
            std::holds_alternative<JSON::Value>(std::as_const(stack).tag(key)) ? "json" : "xml";
    map["tags"] = std::move(tags);
    put_units(map, stack);
    put_record(map, stack);
    return map;
}

JSON::Value file_json(bf::FileInterface& file, std::filesystem::path const& path, unsigned long const* only) {
    JSON::Map map;
    map["schema"] = "vexa.info/1";
    map["path"] = as_utf8(path.string());
    std::string description;
    file.get_file_desc(description);
    map["description"] = as_utf8(description);
    auto const& imp = imp_of(file);
    map["format_version"] = JSON::Number(imp.format_version());
    map["metadata_position"] = JSON::Number(imp.metadata_position());
    JSON::Map tags;
    for (auto const& [key, value] : imp.tags()) tags[as_utf8(key)] = JSON::Number(value.size());
    map["tags"] = std::move(tags);
    JSON::List stacks;
    for (unsigned long index = 0; index < file.get_num_stacks(); ++index)
        if (!only || *only == index) stacks.push_back(stack_json(*file.get_stack(index), index));
    map["stacks"] = std::move(stacks);
    return map;
}

std::string stack_table(bf::FileInterface& file) {
    using Row = std::array<std::string, 8>;
    std::vector<Row> rows{{"index", "name", "shape", "type", "units", "stored", "ratio", "state"}};
    for (unsigned long index = 0; index < file.get_num_stacks(); ++index) {
        auto const stack = file.get_stack(index);
        auto const name = printable(stack->name());
        rows.push_back({std::to_string(index), name.empty() ? "-" : name, shape_text(stack->shape()),
                        type_text(stack->type()), axis_units_text(*stack), byte_text(stored_bytes(*stack)),
                        ratio_text(*stack), state_text(*stack)});
    }
    std::array<std::size_t, 8> widths{};
    for (auto const& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
    std::string table;
    for (auto const& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            std::string const padding(widths[i] - width_of(row[i]), ' ');
            bool const to_the_right = i == 0 || i == 5 || i == 6;
            line += to_the_right ? padding + row[i] : i + 1 < row.size() ? row[i] + padding : row[i];
            if (i + 1 < row.size()) line += "  ";
        }
        table += (&row == &rows.front() ? styled(Style::heading, line) : line) + "\n";
    }
    return table;
}

} // namespace Vexa::tool
