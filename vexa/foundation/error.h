#pragma once

#include <exception>
#include <functional>
#include <string>

#include <vexa/foundation/export.h>

/// The library's own exception: a message, and where there is one, a source location and an operating system
/// error. Built in one expression, `throw VexaError(nullptr, nullptr, 0)("Invalid index '%d'.", i)`.
///
/// The text is put together only when it is asked for: what() and process() write it into one process-wide
/// record, which vexa_get_last_error_string() returns. Constructing or throwing leaves the record alone.
///
/// Threads: objects may be thrown and caught freely; the record has no lock, so two threads must not call
/// what() at the same time. A warning is emitted on the thread that destroys it.
/// \note Deliberate: an error without a location has no "ERROR" line; its text is the bare message, so that
/// callers can compare it.
class VEXA_API VexaError : public std::exception {
public:
    /// \param function,file may be null.
    /// \param line 0 means that there is no location.
    VexaError(char const* function, char const* file, int line);
    VexaError(VexaError const&) = default;
    VexaError& operator=(VexaError const&) = default;
    /// Emits the warning after do_warn(), else writes the record after do_process(). Ends the process if that
    /// throws.
    ~VexaError() override;

    /// The full text, with "file(line): ERROR" before the message when there is a location and the operating
    /// system error after it when there is one. Writes the record. Valid until the next process() anywhere in
    /// the process.
    char const* what() const noexcept override;

    /// Format the message like printf, cut to 4095 characters.
    VexaError& operator()(char const* format, ...) VEXA_PRINTF_LIKE(2, 3);
    /// Take over `errno` and its text. Call it before anything else can change `errno`.
    VexaError& do_oserr();
    /// Make this a warning, which the destructor emits.
    VexaError& do_warn();
    /// Let the destructor write the text into the process-wide record.
    VexaError& do_process();
    /// Hand this object to the warning callback now.
    void do_warn_now() const;
    /// Write the text and the id into the process-wide record. Ends the process if it runs out of memory.
    /// \return error_id
    int process() const noexcept;

    /// Install what warnings go to; an empty callback restores the default, which prints on standard error.
    static void set_global_warning_callback(std::function<void(VexaError const&)> callback);

    std::string file;
    std::string function;
    int line; ///< 0: no location
    int error_id = -1;
    int os_error = 0; ///< 0 or below: none
    std::string message;
    std::string os_message;
    bool warning = false;
    bool process_on_destruction = false;

    /// Never empty, and ready before the initialisers of the application run.
    static std::function<void(VexaError const&)> warning_cb_;
};

/// The error_id of the last processed error: -1, or 1 for one of vexa_lasterr(); 0 before the first one.
VEXA_API int vexa_get_last_error();
/// The text of the last processed error. Valid until the next one.
VEXA_API char const* vexa_get_last_error_string();

/// Throw a VexaError with this location.
/// \param text finished text without printf conversions.
[[noreturn]] VEXA_API void vexa_err(char const* text, char const* function, char const* file, int line);
/// As vexa_err(), with error_id 1.
[[noreturn]] VEXA_API void vexa_lasterr(char const* text, char const* function, char const* file, int line);
/// Emit a warning through the warning callback and return.
/// \param text as for vexa_err().
VEXA_API void vexa_warn(char const* text, char const* function, char const* file, int line);
