#pragma once
// clsUserPropertyBatch: a scope over which a store's user properties are batched: writes go in
// one transaction, committed every clsUserPropertyStore::kBatchWrites writes and when the scope
// ends, and lookups trust the store's memory copy. For loops over many items (training marks,
// judging a folder).
// Owned by the loop's code, on the store's thread, for the length of the loop; the store must
// outlive it. Failure: End is false when the last commit failed (the store's LastError says
// why); the destructor ignores it; nothing throws.

#include "mailhost/clsUserPropertyStore.h"

class clsUserPropertyBatch {
public:
    explicit clsUserPropertyBatch(clsUserPropertyStore& store) : mStore(store) {
        mStore.BeginBatch();
    }
    ~clsUserPropertyBatch() { End(); }
    clsUserPropertyBatch(const clsUserPropertyBatch&) = delete;
    clsUserPropertyBatch& operator=(const clsUserPropertyBatch&) = delete;

    // Ends the batch before the scope does; later calls do nothing and are true.
    bool End() {
        if (mEnded) {
            return true;
        }
        mEnded = true;
        return mStore.EndBatch();
    }

private:
    clsUserPropertyStore& mStore;
    bool mEnded = false;
};
