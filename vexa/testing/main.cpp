// The main function of every test program. With VEXA_TEST_LOCALE set the tests run in the locale that the
// environment names, C++ streams included: text forms must not depend on it.

#include <clocale>
#include <cstdlib>
#include <locale>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    if (std::getenv("VEXA_TEST_LOCALE")) {
        std::setlocale(LC_ALL, "");
        std::locale::global(std::locale(""));
    }
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
