#include "quarn/ports_command.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

#include "quarn/link_arguments.h"
#include "quarn/link_port.h"
#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

struct LinkName {
  std::string type;
  std::int16_t identifier = 0;
};

void printRow(std::string_view type, const std::string& port) {
  std::cout << std::left << std::setw(18) << type << port << '\n';
}

void printTable() {
  printRow("TIPO", "PORT");
  for (const PortOfType& named : kNamedPorts) printRow(named.type, std::to_string(named.port));
  printRow("any other", std::to_string(kFirstFreePort) + " + ID");
}

int printPort(const LinkName& link) {
  const LinkPort port = portOfLink(link.type, link.identifier);
  if (port.port == 0) {
    std::cerr << "quarn: " << link.type << ' ' << link.identifier << " has no port: " << port.whyNone << '\n';
    return 1;
  }
  std::cout << port.port << '\n';
  const std::string warning = identifierWarning(link.identifier);
  if (!warning.empty()) std::cerr << "quarn: " << warning << '\n';
  return 0;
}

}  // namespace

void addPortsCommand(CLI::App& app, int& exitStatus) {
  CLI::App& command = *app.add_subcommand("ports", "show the ports of the peer types, or of one link");
  const auto link = std::make_shared<LinkName>();
  CLI::Option* type = addTypeArgument(command, link->type);
  CLI::Option* identifier = addIdentifierArgument(command, link->identifier);
  type->needs(identifier);
  command.callback([link, type, &exitStatus] {
    if (type->count() > 0) {
      exitStatus = printPort(*link);
    } else {
      printTable();
    }
  });
  command.footer(
      "Exit status 1: the link has no port; standard error says why.\n\n"
      "Examples:\n"
      "  quarn ports             the table\n"
      "  quarn ports MIRTAN 5    20308\n"
      "  quarn ports ABC 5       20105");
}

}  // namespace quarnex::tool
