#pragma once
// clsAutoReplySender: what the engine needs of the auto-reply service: answer a received item from
// a template. The service layer implements it (classAutoReply); the engine creates it through the
// factory its owner hands over, so the engine never includes the layer below it.
// Event-loop thread only. Failure: SendAutoreply logs and returns false; nothing throws.

#include <cstdint>
#include <functional>
#include <memory>

class clsLogFile;
class clsMailItem;
class clsMailNamespace;

class clsAutoReplySender {
public:
    virtual ~clsAutoReplySender() = default;
    virtual bool SendAutoreply(const clsMailItem& received, std::int32_t templateID) = 0;
};

using clsAutoReplyFactory =
    std::function<std::unique_ptr<clsAutoReplySender>(clsMailNamespace&, clsLogFile&)>;
