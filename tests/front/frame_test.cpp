// The frame around a command: banner, closing line, exit value.
#include <cstdlib>
#include <stdexcept>

#include "front/main_frame.h"
#include "tests/front/support.h"

namespace kestrel {
namespace {

class FrameTest : public FrontTest {
  protected:
    void SetUp() override {
        FrontTest::SetUp();
        setenv("LC_ALL", "C", 1);
    }
    void TearDown() override {
        unsetenv("LC_ALL");
        FrontTest::TearDown();
    }
};

// A line as the system hands it over: texts that may be written to.
class Line {
  public:
    explicit Line(std::vector<std::string> texts) : texts_(std::move(texts)) {
        for (std::string& text : texts_) arguments_.push_back(text.data());
    }
    char** Arguments() { return arguments_.data(); }
    [[nodiscard]] std::vector<std::string> Texts() const {
        return {arguments_.begin(), arguments_.end()};
    }

  private:
    std::vector<std::string> texts_;
    std::vector<char*> arguments_;
};

DWORD Throw(int, char**) { throw std::length_error("too long"); }
DWORD ThrowOther(int, char**) { throw 7; }

TEST_F(FrameTest, ExceptionsEndInTheLastError) {
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(Printed([] { EXPECT_EQ(RunGuarded(Throw, 0, nullptr), 5u); }),
              "Exception:too long\n[ErrorCode: 0x00000005]\n");
    SetLastError(0x8009000B);
    EXPECT_EQ(Printed([] { EXPECT_EQ(RunGuarded(ThrowOther, 0, nullptr), 0x8009000Bu); }),
              "Unknown exception.\n[ErrorCode: 0x8009000b]\n");
}

TEST_F(FrameTest, ArgumentsAreCopiedAndPasswordsOverwritten) {
    Line line({"kestrel", "-checkreg", "-PIN", "secret", "-pin", "SECRET", "-tpassword", "x", ""});
    Printed([&] { RunMain(9, line.Arguments()); });
    const std::vector<std::string> kept = {"kestrel", "-checkreg",  "-PIN", "", "-pin",
                                           "",        "-tpassword", "",     ""};
    EXPECT_EQ(line.Texts(), kept);
    ASSERT_EQ(state.argumentCopies->size(), kept.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        EXPECT_EQ((*state.argumentCopies)[i].get(), kept[i]) << i;
    }
    EXPECT_EQ(state.givenKeys, nullptr);
    EXPECT_EQ(state.keyTable, nullptr);
    EXPECT_EQ(state.storeSpecs, nullptr);
}

TEST_F(FrameTest, StoresLeftOpenAreClosed) {
    state.storeSpecs = std::make_unique<std::list<StoreSpec>>();
    state.storeSpecs->push_back({kUserStore, "My", nullptr});
    const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    ASSERT_NE(store, nullptr);
    state.storeSpecs->push_back({kUserStore, "Open", store});
    EXPECT_EQ(Printed([] { ReleaseState(); }), "");
    EXPECT_EQ(state.storeSpecs, nullptr);

    // Closed by now: the failure is printed and the other stores are still closed.
    state.storeSpecs = std::make_unique<std::list<StoreSpec>>(2, StoreSpec{0, "Open", store});
    const std::string printed = Printed([] { ReleaseState(); });
    const std::string line = "Error in CertCloseStore: " + std::to_string(GetLastError());
    EXPECT_EQ(printed, line + line);
}

}  // namespace
}  // namespace kestrel
