// One machine port: its link, its state and the sessions attached to it.
// Placeholder until the connection state lands: it owns the link, counts its
// references and records the link mode.
#pragma once

#include "oxlink.h"
#include "oxobjecthandler.h"

class MDIEditLink;

class OxConnection : public OXObjectHandler {
public:
    explicit OxConnection(int port);
    ~OxConnection() override;

    int GetPort() const { return port_; }
    void IncRefCount() { ++refCount_; }
    int DecRefCount() { return --refCount_; }
    int GetRefCount() const { return refCount_; }

    void LinkModeChange(OXLink::tagLinkMode mode) { linkMode_ = mode; }
    OXLink::tagLinkMode GetLinkMode() const { return linkMode_; }
    MDIEditLink* GetLink() const { return link_; }

private:
    int port_;
    int refCount_ = 0;
    OXLink::tagLinkMode linkMode_ = OXLink::OXLM_NONE;
    MDIEditLink* link_;
};
