#include <vexa/foundation/error.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

namespace {

/// Collects the texts of the warnings while it lives.
class Warnings {
public:
    Warnings() {
        VexaError::set_global_warning_callback(
            [this](VexaError const& warning) { texts.push_back(warning.message); });
    }
    ~Warnings() { VexaError::set_global_warning_callback({}); }
    std::vector<std::string> texts;
};

std::string text_of(VexaError const& error) { return error.what(); }

/// What the code prints on standard error.
std::string printed(std::function<void()> const& code) {
    ::testing::internal::CaptureStderr();
    code();
    return ::testing::internal::GetCapturedStderr();
}

/// Writes a known text into the record of the last error.
void mark_record() { VexaError(nullptr, nullptr, 0)("mark").process(); }

} // namespace

TEST(LastError, IsZeroAndEmptyBeforeTheFirst) {
    // The record lasts as long as the process, so this needs a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            bool const fresh = vexa_get_last_error() == 0 && *vexa_get_last_error_string() == '\0';
            std::exit(fresh ? 7 : 8);
        },
        ::testing::ExitedWithCode(7), "");
}

TEST(VexaError, StartsWithoutErrorNumbersAndFlags) {
    VexaError const error("f", "a.cpp", 12);
    EXPECT_EQ(error.function, "f");
    EXPECT_EQ(error.file, "a.cpp");
    EXPECT_EQ(error.line, 12);
    EXPECT_EQ(error.error_id, -1);
    EXPECT_EQ(error.os_error, 0);
    EXPECT_EQ(error.message, "");
    EXPECT_EQ(error.os_message, "");
    EXPECT_FALSE(error.warning);
    EXPECT_FALSE(error.process_on_destruction);
}

TEST(VexaError, WithoutLocationIsTheBareMessage) {
    EXPECT_EQ(text_of(VexaError(nullptr, nullptr, 0)("File not open.")), "File not open.");
    EXPECT_EQ(text_of(VexaError(nullptr, nullptr, 12)("m")), "m");
    EXPECT_EQ(text_of(VexaError("f", "", 12)("m")), "m");
    EXPECT_EQ(text_of(VexaError("f", "a", 0)("m")), "m");
    EXPECT_EQ(text_of(VexaError(nullptr, nullptr, 0)), "");
}

TEST(VexaError, WithLocationStartsWithFileLineAndTag) {
    EXPECT_EQ(text_of(VexaError("", "a", 12)("m")), "a(12): ERROR\n    m");
    EXPECT_EQ(text_of(VexaError(nullptr, "a", -3)("m")), "a(-3): ERROR\n    m");
    EXPECT_EQ(text_of(VexaError("f", "a", 12)("m")), "a(12): ERROR\n    in function 'f':\n    m");
}

TEST(VexaError, FormatsLikePrintf) {
    VexaError error(nullptr, nullptr, 0);
    // No fraction, since its point is that of the locale.
    EXPECT_EQ(&error("Invalid index '%d' of %s, %5.0f %%", -7, "stack", 12.0), &error);
    EXPECT_EQ(error.message, "Invalid index '-7' of stack,    12 %");
    error("again");
    EXPECT_EQ(error.message, "again");
    error("%s", "");
    EXPECT_EQ(error.message, "");
}

TEST(VexaError, CutsMessagesAt4095Characters) {
    EXPECT_EQ(VexaError(nullptr, nullptr, 0)("%s", std::string(4095, 'x').c_str()).message,
              std::string(4095, 'x'));
    EXPECT_EQ(VexaError(nullptr, nullptr, 0)("%s", std::string(4096, 'x').c_str()).message,
              std::string(4095, 'x'));
    EXPECT_EQ(VexaError(nullptr, nullptr, 0)("%s", std::string(100000, 'x').c_str()).message,
              std::string(4095, 'x'));
}

TEST(VexaError, CutsTheTwoPiecesOfTheLocationOneByOne) {
    std::string const file(5000, 'a'), function(5000, 'f');
    EXPECT_EQ(text_of(VexaError(function.c_str(), file.c_str(), 1)("m")),
              std::string(4095, 'a') + "in function '" + std::string(4095 - 13, 'f') + "m");
}

TEST(VexaError, AppendsThePositiveErrorOfTheOperatingSystem) {
    VexaError error(nullptr, nullptr, 0);
    error("Cannot open.");
    error.os_message = "left over";
    EXPECT_EQ(text_of(error), "Cannot open.");
    error.os_error = -2;
    EXPECT_EQ(text_of(error), "Cannot open.");
    error.os_error = 2;
    EXPECT_EQ(text_of(error), "Cannot open.\n    os_error(2): left over");
}

TEST(VexaError, OsErrorTakesErrnoAndItsText) {
    VexaError error("f", "a", 12);
    error("Cannot open.");
    errno = ENOENT;
    EXPECT_EQ(&error.do_oserr(), &error);
    EXPECT_EQ(error.os_error, ENOENT);
    EXPECT_EQ(error.os_message, std::strerror(ENOENT));
    EXPECT_EQ(text_of(error), "a(12): ERROR\n    in function 'f':\n    Cannot open.\n    os_error(2): " +
                                  std::string(std::strerror(ENOENT)));
    errno = 0;
    EXPECT_EQ(error.do_oserr().os_error, 0);
}

TEST(VexaError, CopiesEveryMember) {
    Warnings const warnings;
    VexaError error("f", "a", 12);
    error("m");
    errno = EACCES;
    error.do_oserr().do_process().do_warn();
    error.error_id = 5;
    VexaError const copy(error);
    VexaError assigned(nullptr, nullptr, 0);
    assigned = error;
    for (VexaError const* const other : {&copy, static_cast<VexaError const*>(&assigned)}) {
        EXPECT_EQ(other->function, "f");
        EXPECT_EQ(other->file, "a");
        EXPECT_EQ(other->line, 12);
        EXPECT_EQ(other->error_id, 5);
        EXPECT_EQ(other->os_error, EACCES);
        EXPECT_EQ(other->message, "m");
        EXPECT_EQ(other->os_message, std::strerror(EACCES));
        EXPECT_TRUE(other->warning);
        EXPECT_TRUE(other->process_on_destruction);
    }
}

TEST(VexaError, IsAStandardExceptionWithVirtualDestructor) {
    static_assert(std::is_base_of_v<std::exception, VexaError>);
    static_assert(std::has_virtual_destructor_v<VexaError>);
    static_assert(noexcept(std::declval<VexaError const&>().process()));
    static_assert(noexcept(std::declval<VexaError const&>().what()));
    try {
        throw VexaError(nullptr, nullptr, 0)("thrown");
    } catch (std::exception const& caught) {
        EXPECT_STREQ(caught.what(), "thrown");
    }
}

TEST(LastError, ChangesOnlyWhenTheTextIsAskedFor) {
    mark_record();
    EXPECT_EQ(vexa_get_last_error(), -1);
    try {
        throw VexaError(nullptr, nullptr, 0)("thrown");
    } catch (VexaError const& caught) {
        EXPECT_STREQ(vexa_get_last_error_string(), "mark");
        EXPECT_EQ(caught.what(), vexa_get_last_error_string());
        EXPECT_STREQ(vexa_get_last_error_string(), "thrown");
    }
}

TEST(LastError, TakesTheIdThatProcessReturns) {
    VexaError error(nullptr, nullptr, 0);
    error("m").error_id = 42;
    EXPECT_EQ(error.process(), 42);
    EXPECT_EQ(vexa_get_last_error(), 42);
    EXPECT_STREQ(vexa_get_last_error_string(), "m");
}

TEST(LastError, IsWrittenByTheDestructorAfterDoProcess) {
    mark_record();
    {
        VexaError error(nullptr, nullptr, 0);
        EXPECT_EQ(&error("late").do_process(), &error);
        EXPECT_STREQ(vexa_get_last_error_string(), "mark");
    }
    EXPECT_STREQ(vexa_get_last_error_string(), "late");
}

TEST(Warning, IsEmittedByTheDestructorOnly) {
    Warnings const warnings;
    {
        VexaError warning(nullptr, nullptr, 0);
        EXPECT_EQ(&warning("careful").do_warn(), &warning);
        EXPECT_TRUE(warnings.texts.empty());
    }
    EXPECT_EQ(warnings.texts, std::vector<std::string>{"careful"});
}

TEST(Warning, GoesBeforeProcessingInTheDestructor) {
    mark_record();
    Warnings const warnings;
    { VexaError(nullptr, nullptr, 0)("careful").do_warn().do_process(); }
    EXPECT_EQ(warnings.texts, std::vector<std::string>{"careful"});
    EXPECT_STREQ(vexa_get_last_error_string(), "mark");
}

TEST(Warning, CanBeEmittedAtOnce) {
    Warnings const warnings;
    VexaError const error(nullptr, nullptr, 0);
    error.do_warn_now();
    EXPECT_EQ(warnings.texts.size(), 1u);
}

TEST(Warning, WithAnEmptyCallbackThrowsBadFunctionCall) {
    auto const saved = VexaError::warning_cb_;
    VexaError::warning_cb_ = nullptr;
    VexaError const error(nullptr, nullptr, 0);
    EXPECT_THROW(error.do_warn_now(), std::bad_function_call);
    VexaError::warning_cb_ = saved;
}

TEST(Warning, GoesToStandardErrorByDefault) {
    EXPECT_EQ(printed([] { vexa_warn("careful", "f", "a", 12); }),
              "a(12): WARNING\n    in function 'f':\n    careful\n");
    EXPECT_EQ(vexa_get_last_error(), -1);
    EXPECT_STREQ(vexa_get_last_error_string(), "a(12): WARNING\n    in function 'f':\n    careful");
    EXPECT_EQ(printed([] { vexa_warn("bare", nullptr, nullptr, 0); }), "bare\n");
}

TEST(Warning, AnEmptyCallbackRestoresTheDefault) {
    { Warnings const warnings; }
    VexaError::set_global_warning_callback(std::function<void(VexaError const&)>());
    ASSERT_TRUE(VexaError::warning_cb_);
    EXPECT_EQ(printed([] { vexa_warn("careful", nullptr, nullptr, 0); }), "careful\n");
}

TEST(Warning, OfTheDefaultCallbackSetsTheLastErrorBackToMinusOne) {
    VexaError error(nullptr, nullptr, 0);
    error.error_id = 1;
    error.process();
    printed([] { vexa_warn("careful", nullptr, nullptr, 0); });
    EXPECT_EQ(vexa_get_last_error(), -1);
}

TEST(PlainFunctions, ErrThrowsWithTheLocationAndIdMinusOne) {
    try {
        vexa_err("broken", "f", "a", 12);
    } catch (VexaError const& error) {
        EXPECT_EQ(error.error_id, -1);
        EXPECT_EQ(error.message, "broken");
    }
    VEXA_EXPECT_THROWS(vexa_err("broken", "f", "a", 12), VexaError,
                       "a(12): ERROR\n    in function 'f':\n    broken");
    VEXA_EXPECT_THROWS(vexa_err("broken", nullptr, nullptr, 0), VexaError, "broken");
    EXPECT_EQ(vexa_get_last_error(), -1);
}

TEST(PlainFunctions, LasterrThrowsWithIdOne) {
    mark_record();
    try {
        vexa_lasterr("broken", nullptr, nullptr, 0);
    } catch (VexaError const& error) {
        EXPECT_EQ(error.error_id, 1);
        EXPECT_EQ(vexa_get_last_error(), -1);
        EXPECT_STREQ(error.what(), "broken");
        EXPECT_EQ(vexa_get_last_error(), 1);
    }
    VEXA_EXPECT_THROWS(vexa_lasterr("broken", nullptr, "a", 12), VexaError, "a(12): ERROR\n    broken");
}

TEST(PlainFunctions, TakeTheTextAsAFormat) {
    VEXA_EXPECT_THROWS(vexa_err("100%%", nullptr, nullptr, 0), VexaError, "100%");
}
