#include "oxconn.h"

#include "mdieditlink.h"

#include <ace/Reactor.h>

OxConnection::OxConnection(int port)
    : port_(port), link_(new MDIEditLink(*ACE_Reactor::instance(), port, this)) {}

OxConnection::~OxConnection() { delete link_; }
