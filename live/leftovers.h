#pragma once

#include "live/publisher.h"
#include "live/settings.h"

/// Publishes the segments of a run that did not end cleanly: files that have an address but are not
/// listed, and those in the private folder. They are cut at the first packet without its sync byte,
/// and measured by their timestamps; `warn` is told of those that are dropped. Returns false where
/// one could not be published: it and those behind it are still there.
bool publishLeftovers(const LiveSettings& settings, Publisher& publisher,
                      const Publisher::Tell& warn);
