// Files that are being made: nobody sees one before it is whole, and one that is not finished
// is gone when the process ends, whichever way that is.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "platform/base/descriptor.h"

namespace platform {

// A file without a name where the file system can hold one, else under its name. Until it is
// settled it is locked by its maker, and it is removed with the object, at exit and when a
// signal ends the process. What a killed process has left behind is not locked: the next one
// that makes a file in that folder, under a name that differs in digits alone, removes it.
class Draft {
  public:
    enum class Access { Everybody, OwnerAlone };

    // Throws ERROR_FILE_EXISTS when the name is taken; one for its owner alone that has no name
    // yet tells of another draft's only. Open for reading and writing.
    Draft(std::string name, Access access);
    // Under a fresh name in `folder`, which ends in "/"; for its owner alone.
    static std::unique_ptr<Draft> In(const std::string& folder);
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    [[nodiscard]] int Get() const { return file_.Get(); }
    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] bool IsNamed() const { return named_; }

    // These answer false with errno. The file may have its name already.
    [[nodiscard]] bool GiveName();
    // For its owner alone, and with another name when somebody has taken its own in the meantime.
    [[nodiscard]] bool GiveAnyName();
    // For the permissions that it has in the end.
    [[nodiscard]] bool SetReadOnly(bool readOnly);
    // Gives it the permissions of any new file.
    [[nodiscard]] bool Widen();
    // For a file that has the permissions which it is to keep.
    [[nodiscard]] bool RenameTo(const std::string& target);
    // The same to a name that must be free (EEXIST).
    [[nodiscard]] bool LinkTo(const std::string& target);
    // From now on the named file stays, or somebody else has taken it away.
    void Settle();
    // The file is not wanted any more.
    void Drop();

  private:
    bool OpenUnnamed(Access access);
    void OpenNamed(Access access);
    bool LinkOwnName();
    bool LinkAnyName();
    void ShowToSignals();

    std::string name_;
    Descriptor file_{-1};
    mode_t ordinaryMode_ = 0;  // of any new file
    bool narrows_ = false;     // to its owner when it gets its name
    bool isNarrow_ = false;
    bool named_ = false;
    bool settled_ = false;
    int place_ = -1;  // among the names that a signal removes
};

// Drafts that wait, mostly without their names, for a call that says what becomes of them.
void KeepDraft(std::shared_ptr<Draft> draft);
// Null when the name is none of them.
std::shared_ptr<Draft> FindDraft(const std::string& name);
// For calls that look for the file under its name. Throws when another one has it.
void NameDraft(const std::string& name);
// Whatever its name is by now: somebody else's file may have the one that it waits under. False
// when the name is none of them. Throws when the file stays.
bool DropDraft(const std::string& name);
// The name was moved, replaced or deleted.
void ForgetDraft(const std::string& name);

}  // namespace platform
