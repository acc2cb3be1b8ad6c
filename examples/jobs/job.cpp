#include "job.h"

#include <algorithm>
#include <cstdlib>

void LogOn(TVqEWSServiceSession& session) {
  session.SetServiceUrl(std::getenv("EWS_URL"));
  session.SetCAFile(std::getenv("EWS_CA_FILE"));
  session.GetCredentials().SetUserName(std::getenv("EWS_USER"));
  session.GetCredentials().SetPassword(std::getenv("EWS_PASSWORD"));
  session.SetActive(true);
}

int Told(const std::vector<TVqEWSFileResult>& results) {
  int done = 0;
  for (const TVqEWSFileResult& file : results) try {
      file.Value();
      ++done;
    } catch (const EEWSException& refusal) {
      std::cerr << file.FileName << ": " << refusal.what() << '\n';
    }
  return done;
}

int main(int argc, char** argv) try {
  const std::string_view usage = kUsage;
  const auto words = std::ranges::count(usage, ' ') - std::ranges::count(usage, '[');
  if (argc <= words) throw EVqException("usage: " + string(usage));
  TVqEWSServiceSession session;
  LogOn(session);
  Job(*session.OpenDefaultMsgStore(), std::span(argv + 1, argv + argc));
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
