#include "cli/JsonAnswer.h"

#include <utility>

#include <fmt/format.h>

namespace zelto::cli {

Outcome printAnswer(const Client& client, const std::string& method, BusArguments arguments) {
  const auto text = client.text(method, std::move(arguments));
  if (!text) return std::unexpected(text.error());
  fmt::print("{}\n", *text);
  return {};
}

}  // namespace zelto::cli
