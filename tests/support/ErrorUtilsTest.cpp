#include "support/ErrorUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

class ErrorUtilsTest : public ExtensionFixture {
 protected:
  static NSError responseError(std::int64_t code, const PropertyListValue& body) {
    return {"web",
            code,
            {{NSLocalizedDescriptionKey, "bad response"},
             {"com.alamofire.serialization.response.error.data", body}}};
  }
};

TEST_F(ErrorUtilsTest, ReasonAddsTheServersResponseOfABadResponseOnly) {
  const auto locked = NSData::copyOf(R"({"message":"locked"})");
  EXPECT_EQ("bad response\n{\n    message = locked;\n}", u_reason(responseError(-1011, locked)));
  EXPECT_EQ("bad response", u_reason(responseError(-1012, locked)));
  EXPECT_EQ("bad response", u_reason(NSError("web", -1011, {{NSLocalizedDescriptionKey, "bad response"}})));
}

TEST_F(ErrorUtilsTest, AResponseThatCannotBeReadIsNoResponse) {
  for (const auto& body : std::vector<PropertyListValue>{
           NSData::copyOf("<html>"), NSData(), NSData::copyOf(std::string_view("{}\0", 3)),
           NSData::copyOf(std::string(100'000, '[')), R"({"message":"a text is no data"})", 5}) {
    const auto error = responseError(-1011, body);
    EXPECT_EQ("bad response", u_reason(error));
    EXPECT_EQ(error, u_errorWithServerResponse(error));
  }
  EXPECT_TRUE(host().log().empty());
}

TEST_F(ErrorUtilsTest, TheResponseIsAddedToACopyOfTheUserInfo) {
  const auto error = responseError(-1011, NSData::copyOf("[1]"));
  const auto full = u_errorWithServerResponse(error);
  EXPECT_EQ("web", full.domain());
  EXPECT_EQ(-1011, full.code());
  EXPECT_EQ(error.userInfo().size() + 1, full.userInfo().size());
  EXPECT_EQ(PropertyListValue(NSArray{1}), *full.userInfo().find("kErrorResponseObjectKey"));
}

}  // namespace
}  // namespace zelto::test
