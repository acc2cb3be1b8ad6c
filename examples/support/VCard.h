#pragma once

// Reading and writing vCard 4.0 (RFC 6350), as much of it as an address book needs: properties with parameters and
// values of several parts. What it does not know, it keeps.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// One line: NAME;PARAMETER=value:part;part
struct VCardProperty {
  /// In capitals: "TEL".
  std::string Name;
  /// Names in capitals, values as they mean, in the order of the line.
  std::vector<std::pair<std::string, std::string>> Parameters;
  /// What stands between semicolons: one for most properties, five for N, seven for ADR.
  std::vector<std::string> Parts;

  /// Value of a parameter, all of them behind one another with commas, in small letters; empty without one.
  std::string Parameter(std::string_view name) const;
  /// A part, empty when there are not so many.
  std::string Part(std::size_t index) const { return index < Parts.size() ? Parts[index] : std::string(); }
  /// The whole value of a property without parts: a URI may have semicolons.
  std::string Text() const;

  bool operator==(const VCardProperty&) const = default;
};

/// A card: its properties between BEGIN and END, the version left out.
struct VCard {
  std::vector<VCardProperty> Properties;

  /// Adds a property, unless all its parts are empty.
  void Add(std::string name, std::vector<std::string> parts,
           std::vector<std::pair<std::string, std::string>> parameters = {});
  /// The first property of a name; none when there is none.
  const VCardProperty* Find(std::string_view name) const;

  bool operator==(const VCard&) const = default;
};

/// The card as text: lines of at most 75 bytes, ended by CR LF.
std::string FormatVCard(const VCard& card);
/// All cards of a text, whatever its line ends. Raises std::runtime_error for what is none.
std::vector<VCard> ParseVCards(std::string_view text);
