// Prints TCP ports of links (quarn ports).
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

#include "quarn/commands.h"
#include "quarn/printable.h"
#include "quarn/shared_arguments.h"
#include "quarn/type_hint.h"
#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

struct LinkName {
  std::string type;
  std::int16_t identifier = 0;
  bool given = false;
};

void printRow(std::string_view type, const std::string& port) {
  std::cout << std::left << std::setw(18) << type << port << '\n';
}

int printTable() {
  printRow("TIPO", "PORT");
  for (const PortOfType& named : kNamedPorts) printRow(named.type, std::to_string(named.port));
  printRow("any other", std::to_string(kFirstFreePort) + " + ID");
  return 0;
}

int printPort(const LinkName& link) {
  const LinkPort port = portOfLink(link.type, link.identifier);
  if (port.port == 0) {
    std::cerr << "quarn: " << printable(link.type) << ' ' << link.identifier
              << " has no port: " << port.problem << '\n';
    return 1;
  }
  std::cout << port.port << '\n';
  const std::string warning = identifierWarning(link.identifier);
  if (!warning.empty()) std::cerr << "quarn: " << warning << '\n';
  const std::string hint = typeHint(link.type);
  if (!hint.empty()) std::cerr << "quarn: " << hint << '\n';
  return 0;
}

}  // namespace

Command portsCommand() {
  const auto link = std::make_shared<LinkName>();
  Argument type = typeArgument(link->type);
  type.store = [link](const std::string& text) {
    link->type = text;
    link->given = true;
  };
  type.needs = "ID";
  return {.name = "ports",
          .summary = "show the TCP port of each peer type, or of one link",
          .details = {},
          .statuses = {{0, "the port or the table was printed"},
                       {1, "the link has no port; standard error gives the reason"}},
          .examples = {{"quarn ports", "print the table"},
                       {"quarn ports MIRTAN 5", "print 20308"},
                       {"quarn ports ABC 5", "print 20105"}},
          .arguments = {type, identifierArgument(link->identifier)},
          .run = [link] { return link->given ? printPort(*link) : printTable(); }};
}

}  // namespace quarnex::tool
