// What a description leaves open, and what of a prediction depends on it.
#pragma once

#include <string>

#include "dryrun/Format.h"

/// Returns the entries of `unread` that the action reads, each with "what", "status" and "affects",
/// a sentence about what depends on it. Something that no rule knows counts as read.
Json unreadBy(const std::string& action, const Json& unread);
