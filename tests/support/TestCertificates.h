#pragma once

// Certificates made for one test: an authority, and servers with one thing wrong each.

#include <memory>
#include <string>
#include <vector>

/// A certification authority with its key. Makes servers' certificates and revocation lists.
class TestAuthority {
 public:
  struct Server {
    std::string Names = "DNS:localhost,IP:127.0.0.1";  // subjectAltName
    int FromDays = -1;                                 // validity, from today
    int ToDays = 30;
    std::string Usage = "serverAuth";  // extendedKeyUsage
  };
  struct Made {
    std::string Certificate;  // PEM
    std::string Key;          // PEM
    long Serial = 0;
  };

  explicit TestAuthority(const std::string& name = "Velmore test authority");
  ~TestAuthority();
  TestAuthority(const TestAuthority&) = delete;
  TestAuthority& operator=(const TestAuthority&) = delete;

  /// The authority's own certificate as PEM.
  std::string Certificate() const;
  Made MakeServer(const Server& wanted) const;
  /// A revocation list with these serial numbers, as PEM.
  std::string MakeRevocationList(const std::vector<long>& serials) const;

 private:
  struct Parts;
  std::unique_ptr<Parts> FParts;
};

/// A file with a text, gone at the end of the test.
class TestFile {
 public:
  explicit TestFile(const std::string& text);
  ~TestFile();
  TestFile(const TestFile&) = delete;
  TestFile& operator=(const TestFile&) = delete;
  const std::string& Path() const { return FPath; }

 private:
  std::string FPath;
};
