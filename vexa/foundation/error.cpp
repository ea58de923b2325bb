#include <vexa/foundation/error.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t scratch_size = 4096;

// The record and the callback come before all other initialisers, which may already warn.
#define VEXA_FIRST_OF_ALL __attribute__((init_priority(101)))

int _s_last_error_id = 0;
VEXA_FIRST_OF_ALL std::string _s_last_error_string;

std::string format_list(char const* format, std::va_list arguments) VEXA_PRINTF_LIKE(1, 0);
std::string format_list(char const* format, std::va_list arguments) {
    std::array<char, scratch_size> scratch;
    scratch[0] = '\0';
    std::vsnprintf(scratch.data(), scratch.size(), format, arguments);
    return scratch.data();
}

std::string format_scratch(char const* format, ...) VEXA_PRINTF_LIKE(1, 2);
std::string format_scratch(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = format_list(format, arguments);
    va_end(arguments);
    return text;
}

void default_warning_cb(VexaError const& warning) { std::fprintf(stderr, "%s\n", warning.what()); }

// The entry points take finished text as the format, as their contract says.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
VexaError& set_message(VexaError& error, char const* text) { return error(text); }
#pragma GCC diagnostic pop

} // namespace

VEXA_FIRST_OF_ALL std::function<void(VexaError const&)> VexaError::warning_cb_ = default_warning_cb;

VexaError::VexaError(char const* function_name, char const* file_name, int line_number)
    : file(file_name ? file_name : ""), function(function_name ? function_name : ""), line(line_number) {}

VexaError::~VexaError() {
    if (warning)
        do_warn_now();
    else if (process_on_destruction)
        process();
}

char const* VexaError::what() const noexcept {
    process();
    return _s_last_error_string.c_str();
}

VexaError& VexaError::operator()(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    message = format_list(format, arguments);
    va_end(arguments);
    return *this;
}

VexaError& VexaError::do_oserr() {
    os_error = errno;
    os_message = std::strerror(os_error);
    return *this;
}

VexaError& VexaError::do_warn() {
    warning = true;
    return *this;
}

VexaError& VexaError::do_process() {
    process_on_destruction = true;
    return *this;
}

void VexaError::do_warn_now() const { warning_cb_(*this); }

int VexaError::process() const noexcept {
    std::string text;
    if (line != 0 && !file.empty()) {
        text = format_scratch("%s(%d): %s\n    ", file.c_str(), line, warning ? "WARNING" : "ERROR");
        if (!function.empty()) text += format_scratch("in function '%s':\n    ", function.c_str());
    }
    text += message;
    if (os_error > 0) {
        text += "\n    os_error(" + std::to_string(os_error) + "): " + os_message;
    }
    _s_last_error_id = error_id;
    _s_last_error_string = std::move(text);
    return error_id;
}

void VexaError::set_global_warning_callback(std::function<void(VexaError const&)> callback) {
    warning_cb_ = callback ? std::move(callback) : default_warning_cb;
}

int vexa_get_last_error() { return _s_last_error_id; }

char const* vexa_get_last_error_string() { return _s_last_error_string.c_str(); }

void vexa_err(char const* text, char const* function, char const* file, int line) {
    VexaError error(function, file, line);
    throw VexaError(set_message(error, text));
}

void vexa_lasterr(char const* text, char const* function, char const* file, int line) {
    VexaError error(function, file, line);
    set_message(error, text).error_id = 1;
    throw VexaError(error);
}

void vexa_warn(char const* text, char const* function, char const* file, int line) {
    VexaError warning(function, file, line);
    set_message(warning, text).do_warn();
}
