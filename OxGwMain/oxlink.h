#pragma once

// Link modes of a machine connection.
struct OXLink {
    enum tagLinkMode { OXLM_NONE = 0, OXLM_BOOTLOAD = 1, OXLM_TORC = 2 };
};
