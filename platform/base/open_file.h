// The files behind handles of CreateFileA.
#pragma once

#include <memory>
#include <string>

#include "platform/base/descriptor.h"
#include "platform/base/draft.h"
#include "platform/base/handle.h"

namespace platform {

class OpenFile : public Object {
  public:
    static constexpr Kind kKind = Kind::File;
    explicit OpenFile(Descriptor descriptor) : Object(kKind), descriptor_(std::move(descriptor)) {}
    // A new file that gets its name when it is closed. `isTemporary`: and then waits for a
    // call that moves, replaces or deletes it.
    OpenFile(std::shared_ptr<Draft> draft, bool isTemporary)
        : Object(kKind), descriptor_(-1), draft_(std::move(draft)), isTemporary_(isTemporary) {}

    [[nodiscard]] int Get() const { return draft_ ? draft_->Get() : descriptor_.Get(); }
    // What was written may fail to arrive only now; throws then.
    void Close();

  private:
    Descriptor descriptor_;
    std::shared_ptr<Draft> draft_;
    bool isTemporary_ = false;
};

// Arguments as CreateFileA takes them.
struct OpenRequest {
    std::string name;
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD attributes;
};

// An existing plain file that is opened without FILE_SHARE_WRITE is locked against the other
// processes that ask so, and remembered: CheckHeld compares. ERROR_SHARING_VIOLATION when
// another one has it.
std::shared_ptr<OpenFile> Open(const OpenRequest& request);

// Throws ERROR_SHARING_VIOLATION when this process holds the file of that name locked, and
// the name leads to another file or content by now.
void CheckHeld(const std::string& name);

}  // namespace platform
