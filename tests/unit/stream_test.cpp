// The in-memory stream of a unit operation's saved image: steps on a fresh stream, its fields and records.
#include "unit/stream.h"
#include "support/log_capture.h"
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

using tarv::CStreamImpl;

namespace {

enum Mode { neither, reading, writing };

// count: bytes read or written, or the seek's lower half (high its upper); done: bytes moved or the new position.
struct Step {
    enum Op { read, write, seek } op; ULONG count = 0; LONG high = 0; DWORD origin = STREAM_SEEK_SET; HRESULT result = S_OK; ULONG done = 0;
};

struct Case {
    const char* name; Mode mode; ULONG capacity, position, size; bool checkSize; std::vector<Step> steps;
    ULONG capacityAfter, positionAfter, sizeAfter; const char* records;
};

HRESULT run(CStreamImpl& s, const Step& step, ULONG& done)
{
    std::vector<BYTE> bytes(step.count + 1, 0x5A);
    done = ~0u;
    if (step.op == Step::read) return s.Read(bytes.data(), step.count, &done);
    if (step.op == Step::write) return s.Write(bytes.data(), step.count, &done);
    LARGE_INTEGER move;
    move.LowPart = step.count;
    move.HighPart = step.high;
    ULARGE_INTEGER position{};
    const HRESULT hr = s.Seek(move, step.origin, &position);
    done = position.LowPart;
    return hr;
}

} // namespace

TEST(UnitStream, ModesBoundsGrowthAndTheRecordsOfMisuse)
{
    using S = Step;
    const char* const past = "<error value=\"Attempt to read past end of input stream\"/>\n";
    const Case cases[] = {
        {"a read of nothing at the end", reading, 10, 10, 10, false, {{S::read, 0, 0, 0, S_OK, 0}}, 10, 10, 10, ""},
        {"a read across the end, then past it", reading, 10, 6, 10, false,
         {{S::read, 8, 0, 0, S_OK, 4}, {S::read, 1, 0, 0, S_OK, 0}}, 10, 10, 10, past},
        {"write from nothing", writing, 0, 0, 0, false, {{S::write, 10, 0, 0, S_OK, 10}}, 1034, 10, 10, ""},
        {"write over the capacity, warned once", writing, 100, 95, 95, true,
         {{S::write, 10, 0, 0, S_OK, 10}, {S::seek, 2000, 0, STREAM_SEEK_SET, S_OK, 2000}}, 3024, 2000, 2000,
         "<warning value=\"Size returned by GetSizeMax was too small\"/>\n"},
        {"seek just past the capacity while writing", writing, 100, 0, 0, false,
         {{S::seek, 101, 0, STREAM_SEEK_SET, S_OK, 101}}, 1125, 101, 101, ""},
        {"seek from the end counts from the capacity", writing, 100, 0, 40, false,
         {{S::seek, 0, 0, STREAM_SEEK_END, S_OK, 100}}, 100, 100, 100, ""},
        {"a negative move", writing, 100, 50, 50, false, {{S::seek, ~0u, -1, STREAM_SEEK_END, E_FAIL, 0}}, 100, 50,
         50, "<error value=\"Position too large for Seek\"/>\n"},
        {"an unknown origin", reading, 10, 0, 10, false, {{S::seek, 0, 0, 3, E_FAIL, 0}}, 10, 0, 10,
         "<error value=\"Invalid dwOrigin argument to IStream::Seek\"/>\n"},
        {"seek past the end while reading", reading, 10, 0, 10, false,
         {{S::seek, 11, 0, STREAM_SEEK_SET, E_FAIL, 0}, {S::seek, 4, 0, STREAM_SEEK_CUR, S_OK, 4}}, 10, 4, 10,
         "<error value=\"Attempt to Seek past end of file\"/>\n"},
        {"seek in neither mode raises the size", neither, 10, 0, 0, false,
         {{S::seek, 7, 0, STREAM_SEEK_SET, S_OK, 7}}, 10, 7, 7, ""},
        {"the crossed misuse messages", neither, 10, 0, 0, false,
         {{S::read, 1, 0, 0, E_FAIL, ~0u}, {S::write, 1, 0, 0, E_FAIL, ~0u}}, 10, 0, 0,
         "<error value=\"Attempt to write to IStream when reading\"/>\n"
         "<error value=\"Attempt to read from IStream when writing\"/>\n"},
    };
    for (const Case& c : cases) {
        testsupport::LogCapture capture("Unit", "CAPE-OPEN Unit Operation");
        CStreamImpl* s = CStreamImpl::create(capture.log());
        s->reading = c.mode == reading;
        s->writing = c.mode == writing;
        ASSERT_TRUE(s->allocate(c.capacity));
        s->position = c.position;
        s->size = c.size;
        s->checkSize = c.checkSize;
        for (const Step& step : c.steps) {
            ULONG done = 0;
            EXPECT_EQ(run(*s, step, done), step.result) << c.name;
            if (step.result == S_OK) { EXPECT_EQ(done, step.done) << c.name; }
        }
        EXPECT_EQ(std::tuple(s->capacity, s->position, s->size), std::tuple(c.capacityAfter, c.positionAfter, c.sizeAfter)) << c.name;
        // Growth keeps what was written and fills the rest with zeros.
        for (ULONG i = s->size; c.mode == writing && s->capacity > c.capacity && i < s->capacity; ++i) {
            ASSERT_EQ(s->data[i], 0) << c.name << " at " << i;
        }
        s->freeData();
        EXPECT_EQ(s->Release(), 0u) << c.name;
        EXPECT_EQ(capture.records(), c.records) << c.name;
    }
}
