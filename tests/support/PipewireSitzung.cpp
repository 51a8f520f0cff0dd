#include "tests/support/PipewireSitzung.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace hallkorb {
namespace {

namespace fs = std::filesystem;

constexpr const char* DAEMON_ANFANG = R"(
context.properties = { core.daemon = true  core.name = pipewire-0  support.dbus = false
  default.clock.rate = 48000  default.clock.allowed-rates = [ 44100 48000 96000 ]
  default.clock.quantum = 1024  default.clock.min-quantum = 32  default.clock.max-quantum = 8192 }
context.spa-libs = { audio.convert.* = audioconvert/libspa-audioconvert
  support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-rt args = { nice.level = -11 } flags = [ ifexists nofail ] }
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-metadata }
  { name = libpipewire-module-spa-node-factory }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-client-device }
  { name = libpipewire-module-access }
  { name = libpipewire-module-adapter }
  { name = libpipewire-module-link-factory }
  { name = libpipewire-module-session-manager } ]
context.objects = [
)";
constexpr const char* LAUTSPRECHER = R"(
  { factory = adapter args = { factory.name = support.null-audio-sink node.name = speakers
    node.description = speakers media.class = Audio/Sink audio.position = [ FL FR ]
    priority.session = 2000 priority.driver = 2000 } }
)";
constexpr const char* MIKRO = R"(
  { factory = adapter args = { factory.name = support.null-audio-sink node.name = mic
    node.description = mic media.class = Audio/Source/Virtual audio.position = [ MONO ]
    priority.session = 2500 priority.driver = 1500 } }
)";

// The session manager without a message bus and without hardware.
constexpr const char* VERWALTUNG = R"(
load_module("metadata")
default_access.properties["enable-flatpak-portal"] = false
default_access.enable()
device_defaults.enable()
stream_defaults.enable()
load_script("suspend-node.lua")
)";

void schreibe(const fs::path& datei, const std::string& text) {
  fs::create_directories(datei.parent_path());
  std::ofstream(datei) << text;
}

bool nimmtVerbindungenAn(const std::string& pfad) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un adresse{};
  adresse.sun_family = AF_UNIX;
  pfad.copy(adresse.sun_path, sizeof adresse.sun_path - 1);
  const bool ja = ::connect(fd, reinterpret_cast<sockaddr*>(&adresse), sizeof adresse) == 0;
  ::close(fd);
  return ja;
}

}  // namespace

bool warteBis(const std::function<bool()>& bedingung, double sekunden) {
  const auto ende = std::chrono::steady_clock::now() + std::chrono::duration<double>(sekunden);
  while (!bedingung()) {
    if (std::chrono::steady_clock::now() >= ende) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

PipewireSitzung::PipewireSitzung() {
  std::string muster = (fs::temp_directory_path() / "hk-pw-XXXXXX").string();
  if (::mkdtemp(muster.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), muster);
  }
  ordner_ = muster;
  const fs::path ordner = ordner_;
  schreibe(ordner / "config/wireplumber/main.lua.d/90-enable-all.lua", VERWALTUNG);
  schreibe(ordner / "config/wireplumber/bluetooth.lua.d/90-enable-all.lua", "");
  const auto setze = [](const char* name, const std::string& wert) {
    ::setenv(name, wert.c_str(), 1);
  };
  setze("XDG_RUNTIME_DIR", ordner_);
  setze("XDG_CONFIG_HOME", ordner_ + "/config");
  setze("XDG_STATE_HOME", ordner_ + "/state");
  setze("XDG_CACHE_HOME", ordner_ + "/cache");
  setze("DBUS_SESSION_BUS_ADDRESS", "disabled:");
  for (const char* fremd : {"PULSE_SERVER", "PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR"}) {
    ::unsetenv(fremd);
  }
}

PipewireSitzung::~PipewireSitzung() {
  beende(verwaltung_, SIGKILL);
  beende(daemon_, SIGKILL);
  std::error_code egal;
  fs::remove_all(ordner_, egal);
}

void PipewireSitzung::starte(Geraete geraete) {
  starteDaemon(geraete);
  starteVerwaltung();
  const bool lautsprecher = geraete == Geraete::BEIDE || geraete == Geraete::NUR_LAUTSPRECHER;
  const bool mikro = geraete == Geraete::BEIDE || geraete == Geraete::NUR_MIKROFON;
  const bool da = warteBis([&] {
    return (!lautsprecher || standard("sink") == "speakers") &&
           (!mikro || standard("source") == "mic") &&
           (lautsprecher || mikro || !befehl({"pw-metadata", "0"}).empty());
  });
  if (!da) throw std::runtime_error("the session's default devices did not appear");
}

void PipewireSitzung::starteDaemon(Geraete geraete) {
  std::string text = DAEMON_ANFANG;
  if (geraete == Geraete::BEIDE || geraete == Geraete::NUR_LAUTSPRECHER) text += LAUTSPRECHER;
  if (geraete == Geraete::BEIDE || geraete == Geraete::NUR_MIKROFON) text += MIKRO;
  schreibe(fs::path(ordner_) / "config/pipewire/pipewire.conf", text + "]\n");
  daemon_ =
      starteProzess({"setpriv", "--pdeathsig", "KILL", "pipewire"}, ordner_ + "/pipewire.log");
  const std::string socket = ordner_ + "/pipewire-0";
  if (!warteBis([&] { return nimmtVerbindungenAn(socket); })) {
    throw std::runtime_error("the audio daemon did not start");
  }
}

void PipewireSitzung::starteVerwaltung() {
  verwaltung_ = starteProzess({"setpriv", "--pdeathsig", "KILL", "wireplumber"},
                              ordner_ + "/wireplumber.log");
}

void PipewireSitzung::beendeDaemon(int signal) {
  beende(daemon_, signal);
}

void PipewireSitzung::beendeVerwaltung(int signal) {
  beende(verwaltung_, signal);
}

void PipewireSitzung::signalAnDaemon(int signal) const {
  ::kill(daemon_, signal);
}

void PipewireSitzung::beende(pid_t& prozess, int signal) {
  if (prozess < 0) return;
  ::kill(prozess, signal);
  ::waitpid(prozess, nullptr, 0);
  prozess = -1;
}

pid_t PipewireSitzung::starteProzess(const std::vector<std::string>& argumente,
                                     const std::string& ausgabe) const {
  std::vector<char*> argv;
  argv.reserve(argumente.size() + 1);
  for (const std::string& argument : argumente)
    argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t dateien;
  posix_spawn_file_actions_init(&dateien);
  posix_spawn_file_actions_addopen(&dateien, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&dateien, STDOUT_FILENO, ausgabe.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&dateien, STDOUT_FILENO, STDERR_FILENO);
  // Signals that a test blocks or ignores are not meant for the daemons.
  posix_spawnattr_t eigenschaften;
  posix_spawnattr_init(&eigenschaften);
  posix_spawnattr_setflags(&eigenschaften, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signale;
  sigemptyset(&signale);
  posix_spawnattr_setsigmask(&eigenschaften, &signale);
  sigfillset(&signale);
  posix_spawnattr_setsigdefault(&eigenschaften, &signale);
  pid_t prozess = -1;
  const int fehler =
      posix_spawnp(&prozess, argv[0], &dateien, &eigenschaften, argv.data(), environ);
  posix_spawn_file_actions_destroy(&dateien);
  posix_spawnattr_destroy(&eigenschaften);
  if (fehler != 0) throw std::system_error(fehler, std::generic_category(), argumente.front());
  return prozess;
}

std::string PipewireSitzung::befehl(const std::vector<std::string>& argumente) const {
  const std::string ausgabe = ordner_ + "/befehl.log";
  const pid_t prozess = starteProzess(argumente, ausgabe);
  ::waitpid(prozess, nullptr, 0);
  std::ifstream datei(ausgabe);
  return {std::istreambuf_iterator<char>(datei), {}};
}

void PipewireSitzung::neuesGeraet(const std::string& name, const std::string& klasse,
                                  const std::string& kanaele, int prioritaet) const {
  befehl({"pw-cli", "create-node", "adapter",
          "{ factory.name=support.null-audio-sink node.name=" + name + " node.description=" + name +
              " media.class=" + klasse + " object.linger=1 audio.position=[" + kanaele +
              "] priority.session=" + std::to_string(prioritaet) +
              " priority.driver=" + std::to_string(prioritaet) + " }"});
}

void PipewireSitzung::entferne(const std::string& name) const {
  befehl({"pw-cli", "destroy", name});
}

void PipewireSitzung::waehle(const std::string& art, const std::string& name) const {
  befehl({"pw-metadata", "0", "default.configured.audio." + art, "{ \"name\": \"" + name + "\" }",
          "Spa:String:JSON"});
}

void PipewireSitzung::setze(const std::string& einstellung, int wert) const {
  befehl({"pw-metadata", "-n", "settings", "0", einstellung, std::to_string(wert)});
}

std::string PipewireSitzung::standard(const std::string& art) const {
  const std::string alles = befehl({"pw-metadata", "0"});
  const std::string marke = "key:'default.audio." + art + "' value:'{\"name\":\"";
  std::size_t anfang = alles.find(marke);
  if (anfang == std::string::npos) return "";
  anfang += marke.size();
  return alles.substr(anfang, alles.find('"', anfang) - anfang);
}

}  // namespace hallkorb
