#include "service/options.h"

#include <charconv>
#include <fstream>
#include <functional>
#include <map>
#include <vector>

namespace datanode {

const char* const USAGE =
    R"(zorf-datanode --root DIR --key FILE [OPTION...]

Serves the files below DIR to HDFS clients that have a token of the NameNode.

  --root DIR           the mount, or the directory of it, that the NameNode serves
  --key FILE           the keys that sign tokens: lines of "ID HEX", readable by its owner alone
  --bind ADDRESS       where to listen (127.0.0.1)
  --port PORT          the port (9866); 0 takes one that is free
  --metrics [ADDRESS:]PORT
                       metrics for Prometheus, at 127.0.0.1 unless told otherwise (none)
  --pool NAME          the block pool, as the NameNode has it (BP-zorf-1)
  --connections N      most connections, idle ones included (20000)
  --connections-of-address N
                       most connections of one address (5000)
  --operations N       most operations at a time, and so most threads (4096)
  --operations-of-user N
                       most operations of one user at a time (2048)
  --idle SECONDS       when an idle connection is closed (60)
  --packet SECONDS     most time for a packet to come or go (480)
  --drain SECONDS      most time for operations to end after SIGTERM (30)
  --config FILE        lines of "name = value" with these names; the command line counts for more
  --check              tell whether it could start, and end
  --version, --help
)";

namespace {

using Setter = std::function<void(Options&, const std::string& value)>;

constexpr std::string_view BLANKS = " \t\r";

// What is wrong with a value, without its place.
struct ValueError : std::runtime_error {
  using runtime_error::runtime_error;
};

std::uint32_t number(const std::string& value, std::uint32_t least, std::uint32_t most) {
  std::uint32_t result = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result);
  if (error != std::errc{} || end != value.data() + value.size() || result < least ||
      result > most) {
    throw ValueError("'" + value + "' is not a number from " + std::to_string(least) + " to " +
                     std::to_string(most));
  }
  return result;
}

Setter text(std::string Options::*field) {
  return [field](Options& options, const std::string& value) {
    if (value.empty()) throw ValueError("there is no value");
    options.*field = value;
  };
}
Setter count(unsigned int Options::*field, std::uint32_t most) {
  return
      [=](Options& options, const std::string& value) { options.*field = number(value, 1, most); };
}
Setter seconds(std::chrono::seconds Options::*field) {
  return [field](Options& options, const std::string& value) {
    options.*field = std::chrono::seconds(number(value, 1, 86'400));
  };
}

// Those with a value.
const std::map<std::string, Setter, std::less<>>& setters() {
  static const std::map<std::string, Setter, std::less<>> all = {
      {"root", text(&Options::root)},
      {"key", text(&Options::key)},
      {"bind", text(&Options::bind)},
      {"port",
       [](Options& options, const std::string& value) {
         options.port = static_cast<std::uint16_t>(number(value, 0, 65'535));
       }},
      {"metrics", text(&Options::metrics)},
      {"pool", text(&Options::pool)},
      {"connections", count(&Options::connections, 1'000'000)},
      {"connections-of-address", count(&Options::connectionsOfAddress, 1'000'000)},
      {"operations-of-user", count(&Options::operationsOfUser, 32'768)},
      {"operations", count(&Options::operations, 32'768)},
      {"idle", seconds(&Options::idle)},
      {"packet", seconds(&Options::packet)},
      {"drain", seconds(&Options::drain)},
  };
  return all;
}

void set(Options& options, const std::string& name, const std::string& value,
         const std::string& place) {
  const auto setter = setters().find(name);
  if (setter == setters().end()) throw OptionError(place + ": there is no option '" + name + "'");
  try {
    setter->second(options, value);
  } catch (const ValueError& e) {
    throw OptionError(place + ": " + name + ": " + e.what());
  }
}

std::string trimmed(const std::string& text) {
  const auto begin = text.find_first_not_of(BLANKS);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

void readFile(Options& options, const std::string& file) {
  std::ifstream in(file);
  if (!in) throw OptionError(file + ": can't be read");
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    const std::string place = file + ":" + std::to_string(++number);
    line = trimmed(line);
    if (line.empty() || line.front() == '#') continue;
    const auto equals = line.find('=');
    if (equals == std::string::npos) throw OptionError(place + ": not 'name = value'");
    set(options, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)), place);
  }
}

}  // namespace

Options parseOptions(std::span<char* const> arguments) {
  Options options;
  std::vector<std::pair<std::string, std::string>> given;
  std::string config;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string argument = arguments[i];
    if (argument == "--check" || argument == "--help" || argument == "--version") {
      (argument == "--check"  ? options.check
       : argument == "--help" ? options.help
                              : options.version) = true;
      continue;
    }
    const auto equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    if (name.size() < 3 || !name.starts_with("--")) {
      throw OptionError("'" + argument + "' is no option; see --help");
    }
    if (name != "--config" && !setters().contains(name.substr(2))) {
      throw OptionError("there is no option '" + name + "'; see --help");
    }
    if (equals == std::string::npos && ++i == arguments.size()) {
      throw OptionError(name + ": there is no value");
    }
    const std::string value =
        equals == std::string::npos ? arguments[i] : argument.substr(equals + 1);
    if (name == "--config") {
      config = value;
    } else {
      given.emplace_back(name.substr(2), value);
    }
  }
  if (options.help || options.version) return options;
  if (!config.empty()) readFile(options, config);
  for (const auto& [name, value] : given) set(options, name, value, "command line");
  if (options.root.empty()) throw OptionError("--root is missing; see --help");
  if (options.key.empty()) throw OptionError("--key is missing; see --help");
  return options;
}

}  // namespace datanode
