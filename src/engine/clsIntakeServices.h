#pragma once
// clsIntakeServices: what the engine needs of the mail intake it owns (the message analyser, the
// processing queue and the folder monitor): the watched folders restored at start-up and saved at
// Quit. The intake layer implements it and the engine creates it through the factory its owner
// hands over, so the engine never includes the layer below it; the intake objects reach back
// into the engine through its public members.
// Event-loop thread only. Failure: members log and return; nothing throws.

#include <functional>
#include <memory>
#include <string_view>

class classCorvel;

class clsIntakeServices {
public:
    virtual ~clsIntakeServices() = default;
    // The watched folders of the stored option "State" in section.
    virtual void LoadState(std::string_view section) = 0;
    virtual void SaveState(std::string_view section) = 0;
};

// Called by InitialiseEngine once the rules database, the folder cache and the spam filter are
// open; the engine keeps what it returns until Quit.
using clsIntakeFactory = std::function<std::unique_ptr<clsIntakeServices>(classCorvel&)>;
