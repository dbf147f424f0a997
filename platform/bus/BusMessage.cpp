#include "platform/bus/BusMessage.h"

#include <cerrno>
#include <charconv>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>

#include "platform/bus/BusSignature.h"

namespace zelto {

namespace {

constexpr std::size_t kMostBytes = 16U << 20U;
constexpr std::size_t kMostStrings = 65536;
constexpr std::string_view kErrorPrefix = "it.pellam.Zelto.Error.";
constexpr std::string_view kCode = ".Code";
constexpr std::string_view kMinus = "Minus";

NSError libraryError(int negative, std::string_view what) {
  return errorWithPOSIXCode(-negative, fmt::format("{}: {}", what, std::strerror(-negative)));
}

int append(sd_bus_message* message, const BusArgument& argument) {
  struct Appender {
    sd_bus_message* message;
    int operator()(const std::string& text) const {
      return sd_bus_message_append_basic(message, 's', text.c_str());
    }
    int operator()(const BusBytes& value) const {
      return sd_bus_message_append_array(message, 'y', value.bytes.data(), value.bytes.size());
    }
    int operator()(bool value) const {
      const int number = value ? 1 : 0;
      return sd_bus_message_append_basic(message, 'b', &number);
    }
    int operator()(std::int32_t value) const { return sd_bus_message_append_basic(message, 'i', &value); }
    int operator()(std::uint32_t value) const { return sd_bus_message_append_basic(message, 'u', &value); }
    int operator()(std::int64_t value) const { return sd_bus_message_append_basic(message, 'x', &value); }
    int operator()(std::uint64_t value) const { return sd_bus_message_append_basic(message, 't', &value); }
    int operator()(double value) const { return sd_bus_message_append_basic(message, 'd', &value); }
    int operator()(const std::shared_ptr<UniqueDescriptor>& value) const {
      const int descriptor = value->get();
      return sd_bus_message_append_basic(message, 'h', &descriptor);
    }
    int operator()(const std::vector<std::string>& texts) const {
      int result = sd_bus_message_open_container(message, 'a', "s");
      for (auto text = texts.begin(); result >= 0 && text != texts.end(); ++text) {
        result = sd_bus_message_append_basic(message, 's', text->c_str());
      }
      return result < 0 ? result : sd_bus_message_close_container(message);
    }
    int operator()(const std::vector<BusBytes>& arrays) const {
      int result = sd_bus_message_open_container(message, 'a', "ay");
      for (auto array = arrays.begin(); result >= 0 && array != arrays.end(); ++array) {
        result = (*this)(*array);
      }
      return result < 0 ? result : sd_bus_message_close_container(message);
    }
    int operator()(const BusOptions& options) const {
      int result = sd_bus_message_open_container(message, 'a', "{sv}");
      for (auto option = options.texts.begin(); result >= 0 && option != options.texts.end(); ++option) {
        result = sd_bus_message_append(message, "{sv}", option->first.c_str(), "s", option->second.c_str());
      }
      return result < 0 ? result : sd_bus_message_close_container(message);
    }
  };
  return std::visit(Appender{message}, argument);
}

template <typename Value>
int readBasic(sd_bus_message* message, char letter, BusArguments& into) {
  Value value{};
  const int result = sd_bus_message_read_basic(message, letter, &value);
  if (result > 0) into.emplace_back(value);
  return result;
}

int readString(sd_bus_message* message, BusArguments& into) {
  const char* text = nullptr;
  const int result = sd_bus_message_read_basic(message, 's', &text);
  if (result > 0) into.emplace_back(std::string(text));
  return result;
}

int readBoolean(sd_bus_message* message, BusArguments& into) {
  int value = 0;
  const int result = sd_bus_message_read_basic(message, 'b', &value);
  if (result > 0) into.emplace_back(value != 0);
  return result;
}

int readBytes(sd_bus_message* message, BusArguments& into) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  const int result = sd_bus_message_read_array(message, 'y', &bytes, &size);
  if (result <= 0) return result;
  if (size > kMostBytes) return -EMSGSIZE;
  into.emplace_back(BusBytes{std::string(static_cast<const char*>(bytes), size)});
  return 1;
}

// The message owns the descriptor that it hands out, so ours is a copy.
int readDescriptor(sd_bus_message* message, BusArguments& into) {
  int borrowed = -1;
  const int result = sd_bus_message_read_basic(message, 'h', &borrowed);
  if (result <= 0) return result;
  const int copy = ::fcntl(borrowed, F_DUPFD_CLOEXEC, 3);
  if (copy < 0) return -errno;
  into.emplace_back(std::make_shared<UniqueDescriptor>(copy));
  return 1;
}

int readStrings(sd_bus_message* message, BusArguments& into) {
  std::vector<std::string> texts;
  int result = sd_bus_message_enter_container(message, 'a', "s");
  const char* text = nullptr;
  while (result >= 0 && (result = sd_bus_message_read_basic(message, 's', &text)) > 0) {
    if (texts.size() == kMostStrings) return -EMSGSIZE;
    texts.emplace_back(text);
  }
  if (result < 0) return result;
  into.emplace_back(std::move(texts));
  return sd_bus_message_exit_container(message) < 0 ? -EBADMSG : 1;
}

int readByteArrays(sd_bus_message* message, BusArguments& into) {
  std::vector<BusBytes> arrays;
  std::size_t total = 0;
  int result = sd_bus_message_enter_container(message, 'a', "ay");
  for (BusArguments one; result >= 0 && (result = readBytes(message, one)) > 0; one.clear()) {
    arrays.push_back(std::move(std::get<BusBytes>(one.front())));
    total += arrays.back().bytes.size();
    if (arrays.size() == kMostStrings || total > kMostBytes) return -EMSGSIZE;
  }
  if (result < 0) return result;
  into.emplace_back(std::move(arrays));
  return sd_bus_message_exit_container(message) < 0 ? -EBADMSG : 1;
}

// One entry of a dictionary; a value that is no text is left out.
int readOption(sd_bus_message* message, BusOptions& options) {
  const char* name = nullptr;
  const char* contents = nullptr;
  const char* text = nullptr;
  char type = 0;
  int result = sd_bus_message_read_basic(message, 's', &name);
  if (result >= 0) result = sd_bus_message_peek_type(message, &type, &contents);
  if (result < 0) return result;
  if (std::string_view(contents) != "s") {
    result = sd_bus_message_skip(message, "v");
  } else if ((result = sd_bus_message_read(message, "v", "s", &text)) >= 0) {
    options.texts.insert_or_assign(name, text);
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readOptions(sd_bus_message* message, BusArguments& into) {
  BusOptions options;
  int result = sd_bus_message_enter_container(message, 'a', "{sv}");
  while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    if (options.texts.size() == kMostStrings) return -EMSGSIZE;
    result = readOption(message, options);
  }
  if (result < 0) return result;
  into.emplace_back(std::move(options));
  return sd_bus_message_exit_container(message) < 0 ? -EBADMSG : 1;
}

int readOne(sd_bus_message* message, BusType type, BusArguments& into) {
  switch (type) {
    case BusType::string:
      return readString(message, into);
    case BusType::bytes:
      return readBytes(message, into);
    case BusType::boolean:
      return readBoolean(message, into);
    case BusType::int32:
      return readBasic<std::int32_t>(message, 'i', into);
    case BusType::uint32:
      return readBasic<std::uint32_t>(message, 'u', into);
    case BusType::int64:
      return readBasic<std::int64_t>(message, 'x', into);
    case BusType::uint64:
      return readBasic<std::uint64_t>(message, 't', into);
    case BusType::real:
      return readBasic<double>(message, 'd', into);
    case BusType::descriptor:
      return readDescriptor(message, into);
    case BusType::strings:
      return readStrings(message, into);
    case BusType::options:
      return readOptions(message, into);
    case BusType::byteArrays:
      return readByteArrays(message, into);
  }
  return -EINVAL;
}

// Domain names of ours are identifiers already; anything else in them would make the name invalid.
std::string nameElement(std::string_view text) {
  std::string element;
  for (const char c : text) {
    element += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  }
  return element.empty() || std::isdigit(static_cast<unsigned char>(element[0])) != 0 ? "_" + element
                                                                                      : element;
}

std::optional<NSError> ownError(std::string_view name, std::string_view message) {
  if (!name.starts_with(kErrorPrefix)) return std::nullopt;
  name.remove_prefix(kErrorPrefix.size());
  const std::size_t dot = name.find(kCode);
  if (dot == std::string_view::npos) return std::nullopt;
  std::string_view number = name.substr(dot + kCode.size());
  const bool negative = number.starts_with(kMinus);
  if (negative) number.remove_prefix(kMinus.size());
  std::int64_t code = 0;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), code);
  if (parsed.ec != std::errc() || parsed.ptr != number.data() + number.size()) return std::nullopt;
  return NSError(name.substr(0, dot), negative ? -code : code, {{NSLocalizedDescriptionKey, message}});
}

}  // namespace

std::optional<NSError> appendArguments(sd_bus_message* message, const BusArguments& arguments) {
  for (const BusArgument& argument : arguments) {
    if (const int result = append(message, argument); result < 0) {
      return libraryError(result, "A message for the bus cannot be built");
    }
  }
  return std::nullopt;
}

std::expected<BusArguments, NSError> readArguments(sd_bus_message* message) {
  const char* signature = sd_bus_message_get_signature(message, 1);
  const auto types = typesOfSignature(signature == nullptr ? "" : signature);
  if (!types) {
    return std::unexpected(errorWithPOSIXCode(
        EBADMSG,
        fmt::format("A message from the bus has arguments \"{}\", which are not supported.", signature)));
  }
  BusArguments arguments;
  arguments.reserve(types->size());
  for (const BusType type : *types) {
    const int result = readOne(message, type, arguments);
    if (result <= 0) {
      return std::unexpected(
          libraryError(result == 0 ? -EBADMSG : result, "A message from the bus cannot be read"));
    }
  }
  return arguments;
}

std::string busErrorName(const NSError& error) {
  const std::string code = std::to_string(error.code());
  const std::string number = code[0] == '-' ? std::string(kMinus) + code.substr(1) : code;
  return fmt::format("{}{}{}{}", kErrorPrefix, nameElement(error.domain()), kCode, number);
}

NSError errorFromBus(const sd_bus_error& error) {
  const std::string_view name = error.name == nullptr ? "" : error.name;
  const std::string_view message = error.message == nullptr ? name : error.message;
  if (auto own = ownError(name, message)) return *own;
  return errorWithPOSIXCode(sd_bus_error_get_errno(&error), message);
}

std::string busErrorMessage(const NSError& error) {
  std::string text = error.localizedDescription();
  if (isBusString(text)) return text;
  for (char& c : text) {
    if (c == '\0' || (static_cast<unsigned char>(c) & 0x80U) != 0) c = '?';
  }
  return text;
}

}  // namespace zelto
