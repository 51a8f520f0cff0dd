#include "tests/support/Tonanlage.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/linux/LinuxHostClock.h"

namespace hallkorb {
namespace {

using Json = nlohmann::json;

// The session's program with `leitung` as its standard input and output.
pid_t starteProgramm(int leitung) {
  std::array<char*, 3> argv = {const_cast<char*>(HALLKORB_TONANLAGE),
                               const_cast<char*>("--gesteuert"), nullptr};
  posix_spawn_file_actions_t dateien;
  posix_spawn_file_actions_init(&dateien);
  posix_spawn_file_actions_adddup2(&dateien, leitung, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&dateien, leitung, STDOUT_FILENO);
  // Signals that a test blocks or ignores are not meant for the session.
  posix_spawnattr_t eigenschaften;
  posix_spawnattr_init(&eigenschaften);
  posix_spawnattr_setflags(&eigenschaften, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signale;
  sigemptyset(&signale);
  posix_spawnattr_setsigmask(&eigenschaften, &signale);
  sigfillset(&signale);
  posix_spawnattr_setsigdefault(&eigenschaften, &signale);
  pid_t prozess = -1;
  const int fehler = posix_spawn(&prozess, argv[0], &dateien, &eigenschaften, argv.data(), environ);
  posix_spawn_file_actions_destroy(&dateien);
  posix_spawnattr_destroy(&eigenschaften);
  if (fehler != 0) throw std::system_error(fehler, std::generic_category(), argv[0]);
  return prozess;
}

Json kanalliste(const std::string& kanaele) {
  Json liste = Json::array();
  std::istringstream strom(kanaele);
  for (std::string kanal; std::getline(strom, kanal, ',');)
    liste.push_back(kanal);
  return liste;
}

}  // namespace

Tonanlage::Tonanlage() {
  static const LinuxHostClock uhr;  // what is captured is stamped with it
  setzeHostClock(uhr);
  std::array<int, 2> enden{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, enden.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  leitung_ = enden[0];
  prozess_ = starteProgramm(enden[1]);
  ::close(enden[1]);
  const Json umgebung = liesZeile();
  for (const auto& [name, wert] : umgebung.items()) {
    if (wert.is_null()) {
      ::unsetenv(name.c_str());
    } else {
      ::setenv(name.c_str(), wert.get<std::string>().c_str(), 1);
    }
  }
}

Tonanlage::~Tonanlage() {
  ::close(leitung_);
  ::waitpid(prozess_, nullptr, 0);
}

Json Tonanlage::liesZeile() const {
  std::string zeile;
  for (char zeichen = 0; zeichen != '\n'; zeile += zeichen) {
    if (::recv(leitung_, &zeichen, 1, 0) != 1) {
      throw std::runtime_error("the session has ended");
    }
  }
  return Json::parse(zeile);
}

Json Tonanlage::bitte(const Json& anfrage) const {
  const std::string zeile = anfrage.dump() + "\n";
  if (::send(leitung_, zeile.data(), zeile.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(zeile.size())) {
    throw std::system_error(errno, std::generic_category(), "the session does not listen");
  }
  const Json antwort = liesZeile();
  if (const auto fehler = antwort.find("fehler"); fehler != antwort.end()) {
    throw std::runtime_error(fehler->get<std::string>());
  }
  return antwort.at("wert");
}

void Tonanlage::starte(Geraete geraete) {
  starteDaemon(geraete);
  starteVerwaltung();
}

void Tonanlage::starteDaemon(Geraete geraete) {
  Json anfrage = Json::array({"starte_pipewire"});
  if (geraete == Geraete::BEIDE || geraete == Geraete::NUR_LAUTSPRECHER)
    anfrage.emplace_back("speakers");
  if (geraete == Geraete::BEIDE || geraete == Geraete::NUR_MIKROFON) anfrage.emplace_back("mic");
  bitte(anfrage);
}

void Tonanlage::starteVerwaltung() {
  bitte(Json::array({"starte_wireplumber"}));
}

void Tonanlage::beendeDaemon(int signal) {
  bitte(Json::array({"beende_dienst", "pipewire", signal}));
}

void Tonanlage::beendeVerwaltung(int signal) {
  bitte(Json::array({"beende_dienst", "wireplumber", signal}));
}

void Tonanlage::signalAnDaemon(int signal) const {
  bitte(Json::array({"sende", "pipewire", signal}));
}

std::string Tonanlage::befehl(const std::vector<std::string>& argumente) const {
  Json anfrage = Json::array({"befehl"});
  for (const std::string& argument : argumente)
    anfrage.push_back(argument);
  return bitte(anfrage).get<std::string>();
}

void Tonanlage::neuesGeraet(const std::string& name, const std::string& klasse,
                            const std::string& kanaele, int prioritaet) const {
  bitte(Json::array({"lege_an", name, klasse, kanalliste(kanaele), prioritaet}));
}

void Tonanlage::entferne(const std::string& name) const {
  bitte(Json::array({"entferne", name}));
}

void Tonanlage::waehle(const std::string& art, const std::string& name) const {
  bitte(Json::array({"setze_standard", art, name}));
}

void Tonanlage::warteStandard(const std::string& art, const std::string& name) const {
  bitte(Json::array({"warte_standard", art, name}));
}

void Tonanlage::setze(const std::string& einstellung, int wert) const {
  bitte(Json::array({"setze", einstellung, wert}));
}

std::string Tonanlage::standard(const std::string& art) const {
  const Json name = bitte(Json::array({"standard", art}));
  return name.is_null() ? "" : name.get<std::string>();
}

}  // namespace hallkorb
