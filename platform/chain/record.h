// The public record of a chain.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/ground.h"
#include "platform/base/handle.h"
#include "platform/chain/path.h"

namespace platform {

// Its certificates keep one count each until it goes.
class Chain : public Object {
  public:
    static constexpr Kind kKind = Kind::Chain;

    explicit Chain(const Path& path);
    ~Chain() override;

    [[nodiscard]] PCCERT_CHAIN_CONTEXT Context() const { return &context_; }

  private:
    // One element of the record with what it points to.
    struct Element {
        CERT_CHAIN_ELEMENT record{};
        CERT_ENHKEY_USAGE usage{};
        std::vector<std::string> identifiers;
        std::vector<LPSTR> texts;
    };

    void AddElement(const Link& link);
    static void AddUsage(Element& element, std::vector<std::string> identifiers);

    std::vector<Element> elements_;
    std::vector<PCERT_CHAIN_ELEMENT> pointers_;
    CERT_SIMPLE_CHAIN simple_{};
    PCERT_SIMPLE_CHAIN simplePointer_ = &simple_;
    CERT_CHAIN_CONTEXT context_{};
};

}  // namespace platform
