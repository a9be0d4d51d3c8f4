// Settings files: what they say, changed and written.
#include "platform/registry/document.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>

#include "platform/base/text.h"
#include "platform/registry/utf16.h"

namespace platform {
namespace {

using Action = RegistryEdit::Action;

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kBytesPerLine = 24;

bool ConcernsValue(const RegistryEdit& edit) {
    return edit.action == Action::SetValue || edit.action == Action::DeleteValue;
}

}  // namespace

std::size_t BlockSize(std::span<const RegistryEdit> edits) {
    if (!ConcernsValue(edits.front())) return 1;
    const auto end = std::ranges::find_if(edits, [&](const RegistryEdit& next) {
        return !ConcernsValue(next) || !SameName(next.key, edits.front().key);
    });
    return static_cast<std::size_t>(end - edits.begin());
}

namespace {

// `key` is `ancestor` or lies below it.
bool LiesUnder(std::string_view key, std::string_view ancestor) {
    if (key.size() > ancestor.size() && key[ancestor.size()] != '\\') return false;
    return SameName(key.substr(0, ancestor.size()), ancestor);
}

struct NamesFolded {
    bool operator()(std::string_view first, std::string_view second) const {
        return CompareFolded(first, second) < 0;
    }
};

// ---- writing -------------------------------------------------------------------

std::string Format(const char* format, DWORD number) {
    char text[16];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(number));
    return text;
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') quoted += '\\';
        quoted += character;
    }
    return quoted + '"';
}

// Text that reads back as the same bytes; anything else is written as bytes.
bool IsPlainText(const RegistryValue& value) {
    if (value.type != REG_SZ) return false;
    const std::string text = TextOf(value);
    if (text.find_first_of("\r\n") != std::string::npos) return false;
    return TextValue({}, text).data == value.data;
}

std::string ByteListText(const RegistryValue& value) {
    std::string text = value.type == REG_BINARY ? "hex:" : Format("hex(%x):", value.type);
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        if (i > 0) text += ',';
        if (i > 0 && i % kBytesPerLine == 0) text.append("\\").append(kLineEnd).append("  ");
        text += Hex(ByteView(value.data).subspan(i, 1));
    }
    return text;
}

std::string DataText(const RegistryValue& value) {
    if (IsPlainText(value)) return Quote(TextOf(value));
    if (const auto number = NumberOf(value)) return Format("dword:%08x", *number);
    return ByteListText(value);
}

std::string ValueLine(const RegistryEdit& edit) {
    const std::string name = edit.value.name.empty() ? "@" : Quote(edit.value.name);
    return name + '=' + (edit.action == Action::DeleteValue ? "-" : DataText(edit.value));
}

}  // namespace

std::string RegistryDocument::Serialize() const {
    std::string text = "Windows Registry Editor Version 5.00";
    text += kLineEnd;
    std::string_view current;
    for (const RegistryEdit& edit : edits_) {
        const bool deletes = edit.action == Action::DeleteKey;
        if (!ConcernsValue(edit) || !SameName(edit.key, current)) {
            text.append(kLineEnd).append(deletes ? "[-" : "[").append(edit.key).append("]");
            text += kLineEnd;
            current = deletes ? std::string_view() : edit.key;
        }
        if (ConcernsValue(edit)) text.append(ValueLine(edit)).append(kLineEnd);
    }
    return text;
}

RegistryDocument RegistryDocument::Under(std::string_view key) const {
    RegistryDocument part;
    std::copy_if(edits_.begin(), edits_.end(), std::back_inserter(part.edits_),
                 [&](const RegistryEdit& edit) {
                     return edit.action != Action::CreateKey && LiesUnder(edit.key, key);
                 });
    return part;
}

void RegistryDocument::Put(RegistryEdit edit) { PutBlock({&edit, 1}); }

// Statements about values of one key go to the end of its block, or open a new block when the
// key has none or was deleted behind it. What they replace goes, repeats among them too: one
// pass for all, since lists come with many thousands of entries.
void RegistryDocument::PutBlock(std::span<const RegistryEdit> block) {
    const std::string& key = block.front().key;
    std::map<std::string_view, const RegistryEdit*, NamesFolded> lastOfName;
    for (const RegistryEdit& edit : block) lastOfName[edit.value.name] = &edit;
    std::erase_if(edits_, [&](const RegistryEdit& old) {
        return ConcernsValue(old) && SameName(old.key, key) && lastOfName.contains(old.value.name);
    });
    const auto last = std::find_if(edits_.rbegin(), edits_.rend(), [&](const RegistryEdit& old) {
        return old.action == Action::DeleteKey ? LiesUnder(key, old.key) : SameName(old.key, key);
    });
    const bool open = last != edits_.rend() && last->action != Action::DeleteKey;
    if (!open) edits_.push_back({Action::CreateKey, key, {}});
    std::vector<RegistryEdit> kept;
    std::copy_if(block.begin(), block.end(), std::back_inserter(kept),
                 [&](const auto& edit) { return lastOfName[edit.value.name] == &edit; });
    edits_.insert(open ? last.base() : edits_.end(), std::make_move_iterator(kept.begin()),
                  std::make_move_iterator(kept.end()));
}

void RegistryDocument::Set(const std::string& key, RegistryValue value) {
    Put({Action::SetValue, key, std::move(value)});
}

void RegistryDocument::DeleteValue(const std::string& key, const std::string& name) {
    Put({Action::DeleteValue, key, {name, REG_NONE, {}}});
}

void RegistryDocument::DeleteKey(const std::string& key) {
    std::erase_if(edits_, [&](const RegistryEdit& old) { return LiesUnder(old.key, key); });
    edits_.push_back({Action::DeleteKey, key, {}});
}

void RegistryDocument::Append(const RegistryDocument& other) {
    for (std::span<const RegistryEdit> rest = other.edits_; !rest.empty();) {
        const auto block = rest.first(BlockSize(rest));
        rest = rest.subspan(block.size());
        if (ConcernsValue(block.front())) {
            PutBlock(block);
        } else if (block.front().action == Action::DeleteKey) {
            DeleteKey(block.front().key);
        } else {
            edits_.push_back(block.front());
        }
    }
}

}  // namespace platform
