#include "ProgramTestSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace velmore::simulator::testing {

Folder::Folder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "velmore-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

std::string Folder::Write(const std::string& name, const std::string& content) const {
  std::ofstream(Path(name), std::ios::binary) << content;
  return Path(name);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

Program::Program(const std::vector<std::string>& arguments) {
  std::vector<char*> list;
  for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
  list.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::setpgid(0, 0);
    ::execvp(list[0], list.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  pipe_ = ends[0];
}

Program::~Program() {
  if (process_ > 0) {
    ::kill(-process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  ::close(pipe_);
}

bool Program::ReadSome(std::chrono::steady_clock::time_point until) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
  pollfd waiting{pipe_, POLLIN, 0};
  if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return false;
  char buffer[4096];
  const ssize_t count = ::read(pipe_, buffer, sizeof buffer);
  if (count <= 0) return false;
  output_.append(buffer, static_cast<std::size_t>(count));
  return true;
}

bool Program::ReadUntil(const std::string& text, std::chrono::seconds patience) {
  const auto until = std::chrono::steady_clock::now() + patience;
  while (output_.find(text) == std::string::npos)
    if (!ReadSome(until)) return false;
  return true;
}

void Program::Signal(int number) {
  if (process_ > 0) ::kill(process_, number);
}

int Program::Wait(std::chrono::seconds patience) {
  const auto until = std::chrono::steady_clock::now() + patience;
  while (ReadSome(until)) {
  }
  if (std::chrono::steady_clock::now() >= until) return -1;
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Program::Line(const std::string& word) const {
  std::size_t at = 0;
  while (at < output_.size()) {
    const std::size_t end = std::min(output_.find('\n', at), output_.size());
    const std::string line = output_.substr(at, end - at);
    at = end + 1;
    if (!line.starts_with(word + " ")) continue;
    const std::size_t begin = line.find_first_not_of(' ', word.size());
    return begin == std::string::npos ? std::string() : line.substr(begin);
  }
  return {};
}

std::vector<std::string> SimulatorProgram(std::vector<std::string> options, bool users) {
  std::vector<std::string> arguments = {VELMORE_SIMULATOR_PROGRAM};
  arguments.insert(arguments.end(), options.begin(), options.end());
  if (users)
    for (const char* user :
         {"alice:alice@example.com:wonder", "bob:bob@example.com:builder", "carol:carol@example.com:cembalo"})
      arguments.insert(arguments.end(), {"--users", user});
  return arguments;
}

}  // namespace velmore::simulator::testing
