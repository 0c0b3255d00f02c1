#include "quarn/link_arguments.h"

#include <charconv>

namespace quarnex::tool {
namespace {

std::int16_t toIdentifier(const std::string& text) {
  std::int16_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) {
    throw CLI::ValidationError("ID", '"' + text + "\" is no identifier; give a whole number from 0 to 999");
  }
  return value;
}

}  // namespace

CLI::Option* addTypeArgument(CLI::App& command, std::string& type) {
  return command
      .add_option("TIPO", type, "peer type: MIRTAN, TOLV, ... (see quarn ports) or a name of your own")
      ->type_name("");
}

CLI::Option* addIdentifierArgument(CLI::App& command, std::int16_t& identifier) {
  const auto store = [&identifier](const std::string& text) { identifier = toIdentifier(text); };
  return command.add_option_function<std::string>("ID", store, "peer identifier, 0 to 999")->type_name("");
}

}  // namespace quarnex::tool
