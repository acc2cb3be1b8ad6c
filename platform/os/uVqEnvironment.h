#pragma once

/// The environment of this process: variables in texts, folders of the user, and who is logged on.
///
///     string path = VqExpandEnvironment("%LOCALAPPDATA%\\Velmore\\EWS\\Profiles.config");
///
/// Any thread may call, as long as no other thread changes the environment.

#include <optional>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// Gives the value of a variable by its name, or nothing. Tests bring one of their own.
using TVqEnvironmentLookup = std::function<std::optional<string>(const string& AName)>;

/// A variable of this process; nothing when it is not set. On Windows its case does not count.
std::optional<string> VqGetEnvironment(const string& AName);

/// Puts the values of variables in place of their names between "%". A name without a value stays as it stands, percent
/// signs included, and so does a "%" without a partner; values are not expanded again.
///
/// Where there is no Windows, the folders that Windows names by variables are looked up under the names that the system
/// has for them, unless a variable of that very name is set (upper case counts):
///
///     %LOCALAPPDATA%   $XDG_DATA_HOME, else $HOME/.local/share
///     %APPDATA%        $XDG_CONFIG_HOME, else $HOME/.config
///     %USERPROFILE%    $HOME
///     %TEMP%, %TMP%    $TMPDIR, else /tmp
///     %USERNAME%       the user who is logged on
///     %COMPUTERNAME%   the name of the host
///     %PROGRAMDATA%    /var/lib
string VqExpandEnvironment(const string& AText);
/// The same with variables from elsewhere.
string VqExpandEnvironment(const string& AText, const TVqEnvironmentLookup& ALookup);

/// A path with the separators of this system: backslashes become slashes where there is no Windows, and the other way
/// round.
string VqNativePath(const string& APath);

/// A path for use: variables expanded, the separators of this system. Nothing for an empty path and for one that names
/// a variable without a value, since a folder of that very name would come into being wherever the process runs.
std::optional<string> VqTryExpandPath(const string& APath);

/// The name of the user that this process runs as, without a domain. Empty when the system does not know one.
string VqGetUserName();
/// The name of this host, without a domain.
string VqGetHostName();

}  // namespace velmore
