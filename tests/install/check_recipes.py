#!/usr/bin/env python3
"""check_recipes.py SOURCE: holds the recipes for vcpkg and Conan against the build. Neither manager is run: what can be told without them and without a network is told."""
import glob
import json
import os
import re
import subprocess
import sys
import tempfile
import types

source = sys.argv[1]
problems = []


def read(path):
    with open(os.path.join(source, path), encoding="utf-8") as file:
        return file.read()


# What the build looks for, by the names that the managers have for it.
VCPKG = {"Boost": "boost-asio", "CARES": "c-ares", "CLI11": "cli11", "CURL": "curl", "GMIME": "gmime", "hwy": "highway", "ICU": "icu", "LIBICAL": "libical", "LibXml2": "libxml2",
         "nlohmann_json": "nlohmann-json", "OpenSSL": "openssl", "PkgConfig": "pkgconf", "pugixml": "pugixml", "ZLIB": "zlib", "Threads": None}
CONAN = {**VCPKG, "Boost": "boost", "CURL": "libcurl", "nlohmann_json": "nlohmann_json", "PkgConfig": None}


def asked_for(folder):
    texts = [read(os.path.relpath(path, source)) for path in glob.glob(os.path.join(source, folder, "**", "CMakeLists.txt"), recursive=True)]
    text = "\n".join(texts) + (read("cmake/Velmore.cmake") if folder == "platform" else "")
    return set(re.findall(r"find_package\((\w+)", text)) | set(re.findall(r"pkg_check_modules\((\w+)", text))


def names(dependencies):
    return {part if isinstance(part, str) else part["name"] for part in dependencies}


version = re.search(r"project\(VelmoreEWS VERSION ([\d.]+)", read("CMakeLists.txt"))[1]
library, simulator = asked_for("platform") | asked_for("ews"), asked_for("simulator")
unknown = (library | simulator) - set(VCPKG)
if unknown:
    problems.append(f"no name in the recipes is known for {sorted(unknown)}")

# ---- vcpkg

port = json.loads(read("packaging/vcpkg/vcpkg.json"))
core = names(port["dependencies"])
whole = core | names(port["features"]["simulator"]["dependencies"])
wanted_core, wanted_whole = {VCPKG[name] for name in library - unknown} - {None}, {VCPKG[name] for name in (library | simulator) - unknown} - {None}
helpers = {"vcpkg-cmake", "vcpkg-cmake-config", "boost-beast"}
if core - helpers != wanted_core:
    problems.append(f"vcpkg: the library asks for {sorted(wanted_core)}, the port for {sorted(core - helpers)}")
if whole - helpers != wanted_whole:
    problems.append(f"vcpkg: the simulator asks for {sorted(wanted_whole)}, the port for {sorted(whole - helpers)}")
if port["version-semver"] != version:
    problems.append("vcpkg: another version")

# The port file is run, with functions that write down what they are told.
stubs = "\n".join(f"function(vcpkg_{name})\n  message(\"{name}: ${{ARGV}}\")\nendfunction()"
                  for name in ("cmake_configure", "cmake_install", "cmake_config_fixup", "fixup_pkgconfig", "copy_pdbs", "copy_tools", "install_copyright"))
stubs += '\nfunction(vcpkg_check_features)\n  cmake_parse_arguments(A "" "OUT_FEATURE_OPTIONS" "FEATURES" ${ARGN})\n  set(${A_OUT_FEATURE_OPTIONS} "-DVELMORE_BUILD_SIMULATOR=ON" PARENT_SCOPE)\nendfunction()\n'
script = "cmake_minimum_required(VERSION 3.25)\n" + stubs + f'set(FEATURES simulator)\nset(CURRENT_PACKAGES_DIR /nonexistent)\ninclude("{source}/packaging/vcpkg/portfile.cmake")\n'
with tempfile.NamedTemporaryFile("w", suffix=".cmake") as file:
    file.write(script)
    file.flush()
    told = subprocess.run(["cmake", "-P", file.name], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
if told.returncode != 0 or f"SOURCE_PATH;{os.path.abspath(source)};" not in told.stdout:
    problems.append("vcpkg: the port file does not run:\n" + told.stdout)
options = set(re.findall(r"-D(VELMORE_\w+)=", told.stdout))
told_off = {"vcpkg": set(options)}  # what the build makes unless it is told otherwise asks for more than the recipe does

# ---- Conan

asked = []


class Anything:
    """Stands for every helper of Conan's that the recipe uses."""

    def __init__(self, *arguments, **named):
        self.cache_variables = {}

    def __getattr__(self, name):
        return lambda *arguments, **named: None


class ConanFile(Anything):
    def requires(self, reference, **named):
        asked.append(reference.split("/")[0])


for module, members in {"conan": {"ConanFile": ConanFile}, "conan.tools": {}, "conan.tools.build": {"check_min_cppstd": None}, "conan.tools.files": {"copy": None}, "conan.tools.gnu": {"PkgConfigDeps": Anything},
                        "conan.tools.cmake": {"CMake": Anything, "CMakeDeps": Anything, "CMakeToolchain": Anything, "cmake_layout": None}}.items():
    sys.modules[module] = types.ModuleType(module)
    vars(sys.modules[module]).update(members)
recipe = {}
exec(compile(read("packaging/conan/conanfile.py"), "conanfile.py", "exec"), recipe)  # noqa: S102: our own file
compile(read("packaging/conan/test_package/conanfile.py"), "conanfile.py", "exec")
for with_simulator, wanted in {False: library, True: library | simulator}.items():
    asked.clear()
    package = recipe["VelmoreEws"]()
    package.settings = types.SimpleNamespace(os="Linux")
    package.options = types.SimpleNamespace(simulator=with_simulator)
    package.requirements()
    expected = {CONAN[name] for name in wanted - unknown} - {None}
    if set(asked) != expected:
        problems.append(f"Conan: the build asks for {sorted(expected)}, the recipe for {sorted(set(asked))}")
    toolchain = Anything()
    recipe["CMakeToolchain"] = lambda package, toolchain=toolchain: toolchain
    package.generate()
    options |= set(toolchain.cache_variables)
    told_off["Conan"] = set(toolchain.cache_variables)
if recipe["VelmoreEws"].version != version:
    problems.append("Conan: another version")
for part in re.findall(r'"([\w./*]+)"', re.search(r"for part in \((.*?)\)", read("packaging/conan/conanfile.py"))[1]):
    if not glob.glob(os.path.join(source, part)):
        problems.append(f"Conan: there is no {part} to take along")

for option in options - set(re.findall(r"option\((\w+)", read("CMakeLists.txt"))):
    problems.append(f"the build has no option {option}")

for option in re.findall(r"option\((VELMORE_BUILD_\w+) .*(?:ON|\{PROJECT_IS_TOP_LEVEL\})\)", read("CMakeLists.txt")):
    problems.extend(f"{recipe_of}: says nothing of {option}, which is on" for recipe_of, told_of in told_off.items() if option not in told_of)

# ---- The container of the simulator

build_packages = set(re.search(r"^build_packages=\((.*?)\)", read("dev"), re.MULTILINE | re.DOTALL)[1].split()) - {"ccache", "libncurses-dev"}
lacking = build_packages - set(read("simulator/packaging/Containerfile").split())
if lacking:
    problems.append(f"the Containerfile does not install {sorted(lacking)}")

print("\n".join(problems) or f"recipes for {version}: {len(whole)} dependencies by vcpkg, {len(set(asked))} by Conan")
sys.exit(1 if problems else 0)
