#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"

#include <cstdint>
#include <utility>

namespace ovelo {

/// What travels with every block of pictures or sound.
struct SyncData {
    std::uint32_t frameID = 0;   // running number within its kind, from 0
    std::uint32_t timeStamp = 0; // seconds since 1970, when the block was handed to the session
    bool reportNeeded = false;   // always false
};

/// One picture on its way to one viewer.
///
/// data  a complete JPEG, shared by all viewers
struct Frame {
    Frame(Data jpeg, const SyncData& record, const TimeValue& now)
        : data(std::move(jpeg))
        , syncData(record)
        , insertedTime(now) {}

    Data data;
    SyncData syncData;
    TimeValue insertedTime; // when the frame was made
};

} // namespace ovelo
