#include <vexa/bf/ZippedSegment.h>

#include <algorithm>
#include <functional>
#include <future>
#include <initializer_list>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/failing_device.h>
#include <vexa/testing/memory_device.h>
#include <vexa/testing/zipped_section.h>

using namespace Vexa::testing::zipped;
using Vexa::testing::FailingDevice;
using Vexa::testing::MemoryDevice;

namespace {

struct Fault {
    char const* name;
    ThreadingSupport (*threads)(boost::asio::thread_pool&, unsigned long at);
    char const* text;
};
void PrintTo(Fault const& fault, std::ostream* os) { *os << fault.name; }

Fault const faults[] = {
    {"InlineWorker",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::inline_execution(3), at);
     },
     "worker failure"},
    {"PooledWorker",
     [](boost::asio::thread_pool& pool, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::pooled_execution(3, pool), at);
     },
     "worker failure"},
    {"ReversedWorker",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::reversed_execution(3), at);
     },
     "worker failure"},
    {"PooledExecute",
     [](boost::asio::thread_pool& pool, unsigned long at) {
         return Vexa::testing::throwing_execution(Vexa::testing::pooled_execution(3, pool), at);
     },
     "no thread"},
    {"DeferredExecute",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::throwing_execution(Vexa::testing::deferred_execution(3), at);
     },
     "no thread"},
};

class ZippedSegmentFault : public ::testing::TestWithParam<Fault> {};

} // namespace

TEST_P(ZippedSegmentFault, LeavesWriteWithItsException) {
    boost::asio::thread_pool pool(2);
    for (unsigned long at = 0; at < 10; ++at) {
        auto data = std::make_unique<Bytes>(samples(10'000));
        MemoryDevice file;
        file.threading = GetParam().threads(pool, at);
        auto segment = std::make_unique<ZippedSegment>();
        segment->initialize(file, 1);
        segment->set_flush_block_size(1000);
        VEXA_EXPECT_THROWS(segment->write(data->data(), data->size()), std::runtime_error, GetParam().text);
        // Whoever still worked would now touch freed memory.
        data.reset();
        segment.reset();
    }
    pool.join();
}

TEST_P(ZippedSegmentFault, LeavesReadWithItsExceptionAndTheNextReadStartsAfresh) {
    boost::asio::thread_pool pool(2);
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.block_size = 1000});
    for (unsigned long at = 0; at < 10; ++at) {
        section.file.threading = GetParam().threads(pool, at);
        ZippedSegment segment;
        section.open(segment, section.file);
        auto out = std::make_unique<Bytes>(data.size());
        VEXA_EXPECT_THROWS(segment.read(out->data(), out->size()), std::runtime_error, GetParam().text);
        out.reset();
        EXPECT_EQ(segment.tell(), 0u);
        section.file.threading = Vexa::testing::inline_execution(3);
        EXPECT_EQ(read(segment, 2500), part(data, 0, 2500));
        EXPECT_EQ(read(segment, 7500), part(data, 2500, 7500));
    }
    pool.join();
}

INSTANTIATE_TEST_SUITE_P(All, ZippedSegmentFault, ::testing::ValuesIn(faults),
                         [](auto const& case_info) { return case_info.param.name; });

TEST(ZippedSegment, AnExecutorThatKeepsWhatItRefusedCannotRunItLater) {
    std::vector<Vexa::testing::Work> kept;
    ThreadingSupport const keeping{2, [&kept](Vexa::testing::Work work) -> std::future<void> {
                                       kept.push_back(std::move(work));
                                       throw std::runtime_error("no thread");
                                   }};
    Bytes const data = samples(5000);
    Section section = write_section(data, {.block_size = 1000});
    VEXA_EXPECT_THROWS(read_whole(section, keeping), std::runtime_error, "no thread");
    {
        MemoryDevice file;
        file.threading = keeping;
        ZippedSegment segment;
        segment.initialize(file, 1);
        segment.set_flush_block_size(1000);
        VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error, "no thread");
    }
    EXPECT_EQ(kept.size(), 2u);
    for (auto& work : kept) work();
}

TEST(ZippedSegment, AnExecutorThatDoesNotRunWhatItTookIsNoticed) {
    std::vector<Vexa::testing::Work> kept;
    auto const ready = [] {
        std::promise<void> promise;
        promise.set_value();
        return promise.get_future();
    };
    Bytes const data = samples(5000);
    Section section = write_section(data, {.block_size = 1000});
    ThreadingSupport const keeping{2, [&](Vexa::testing::Work work) {
                                       kept.push_back(std::move(work));
                                       return ready();
                                   }};
    VEXA_EXPECT_THROWS(read_whole(section, keeping), std::runtime_error, "Work item was not executed.");
    ThreadingSupport const silent{2, [](Vexa::testing::Work) { return std::future<void>(); }};
    VEXA_EXPECT_THROWS(read_whole(section, silent), std::runtime_error, "Work item was not executed.");
    for (auto& work : kept) work();
}

TEST(ZippedSegment, AnExecutorThatSwallowsExceptionsHidesNone) {
    ThreadingSupport const swallowing{2, [](Vexa::testing::Work work) {
                                          std::promise<void> promise;
                                          try {
                                              work();
                                          } catch (...) {
                                          }
                                          promise.set_value();
                                          return promise.get_future();
                                      }};
    MemoryDevice file;
    file.threading = swallowing;
    ZippedSegment segment;
    segment.initialize(file, 1);
    segment.set_flush_block_size(1000);
    Bytes const data = noise(5000);
    VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error,
                       "ZIP buffer unexpectedly too small.");
}

TEST(ZippedSegment, AnExecutorThatRunsEverythingTwiceDoesNoHarm) {
    ThreadingSupport const twice{3, [](Vexa::testing::Work work) {
                                     work();
                                     return std::async(std::launch::deferred, work);
                                 }};
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.block_size = 1000, .threads = twice});
    EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
    EXPECT_EQ(read_whole(section, twice), data);
}

TEST(ZippedSegment, NoMoreItemsAreOutThanThereAreStreams) {
    Bytes const data = samples(50'000);
    for (unsigned long const n : {2ul, 3ul, 5ul}) {
        unsigned long out = 0;
        unsigned long most = 0;
        ThreadingSupport const counting{n, [&](Vexa::testing::Work work) {
                                            most = std::max(most, ++out);
                                            return std::async(std::launch::deferred,
                                                              [&out, work = std::move(work)] {
                                                                  work();
                                                                  --out;
                                                              });
                                        }};
        Section section = write_section(data, {.block_size = 1000, .threads = counting});
        EXPECT_EQ(most, n);
        most = 0;
        EXPECT_EQ(read_whole(section, counting), data);
        EXPECT_EQ(most, n);
        EXPECT_EQ(out, 0u);
    }
}

TEST(ZippedSegment, AFailureOfTheDeviceWhileWritingPassesThroughAtEveryCall) {
    Bytes const data = samples(10'000);
    boost::asio::thread_pool pool(2);
    for (unsigned long const threads : {1ul, 3ul})
        for (unsigned long calls = 0; calls < 10; ++calls) {
            MemoryDevice file;
            file.threading = Vexa::testing::pooled_execution(threads, pool);
            FailingDevice failing(file);
            failing.write_calls = calls;
            ZippedSegment segment;
            segment.initialize(failing, 1);
            segment.set_flush_block_size(1000);
            VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error, "device failure");
            EXPECT_EQ(segment.flush_positions().size(), calls);
        }
    pool.join();
}

TEST(ZippedSegment, WriteEndThatFailedCanBeRepeated) {
    Bytes const data = samples(500);
    for (unsigned long const threads : {1ul, 3ul})
        for (unsigned long calls = 0; calls < 3; ++calls) {
            MemoryDevice file;
            file.threading = Vexa::testing::inline_execution(threads);
            FailingDevice failing(file);
            ZippedSegment segment;
            segment.initialize(failing, 1);
            segment.set_flush_block_size(1000);
            segment.write(data.data(), data.size());
            failing.write_calls = calls;
            try {
                segment.write_end();
            } catch (std::runtime_error const&) {
            }
            failing.write_calls = FailingDevice::unlimited;
            unsigned long const size = segment.write_end();
            EXPECT_EQ(size, file.bytes.size());
            EXPECT_EQ(plain_uncompress(file.bytes, data.size()), data);
        }
}

TEST(ZippedSegment, AfterAFailureOfTheDeviceTheNextReadStartsAfresh) {
    Bytes const data = samples(10'000);
    boost::asio::thread_pool pool(2);
    for (unsigned long const block_size : {0ul, 1000ul}) {
        Section section = write_section(data, {.block_size = block_size});
        for (unsigned long const threads : {1ul, 3ul}) {
            section.file.threading = Vexa::testing::pooled_execution(threads, pool);
            FailingDevice failing(section.file);
            ZippedSegment segment;
            section.open(segment, failing);
            if (block_size) {
                EXPECT_EQ(read(segment, 2500), part(data, 0, 2500));
            }
            failing.read_calls = threads == 1 ? 0 : 2;
            if (!block_size) failing.read_calls = 0;
            VEXA_EXPECT_THROWS(read(segment, 7500), std::runtime_error, "device failure");
            failing.read_calls = FailingDevice::unlimited;
            unsigned long const pos = segment.tell();
            EXPECT_EQ(pos, block_size ? 2500u : 0u);
            EXPECT_EQ(read(segment, 7500), part(data, pos, 7500));
        }
    }
    pool.join();
}
