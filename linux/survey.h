// How busy the channel of a radio is.
#pragma once

#include <string>

#include "platform/nl80211.h"

// Shares of the time in percent: the channel busy for whatever reason, frames received, frames sent.
struct ChannelUse {
    int busy = 0, receiving = 0, sending = 0;
};

// The radio (from 0) as its first VAP in the kernel has it, over the time since the reading before, which is
// kept in /run/zevnet; within 5 s the same again, so that the three figures that one object is made of belong
// together.
bool read_channel_use(int radio, ChannelUse *use, std::string *why);
