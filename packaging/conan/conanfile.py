"""Conan 2: conan create packaging/conan [-o 'velmore-ews/*:simulator=True']. Builds the source tree that it lies in."""
import os

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps


class VelmoreEws(ConanFile):
    name = "velmore-ews"
    version = "0.1.0"
    description = "A client library for Exchange Web Services, with a server in memory for tests"
    license = "MIT"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False], "simulator": [True, False]}
    default_options = {"shared": False, "fPIC": True, "simulator": False}

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for part in ("CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "cmake/*", "platform/*", "ews/*", "velmore/*", "simulator/*", "examples/*"):
            copy(self, part, root, self.export_sources_folder)

    def config_options(self):
        if self.settings.os == "Windows":
            self.options.rm_safe("fPIC")
            self.options.rm_safe("shared")  # a static library there

    def layout(self):
        cmake_layout(self)

    def validate(self):
        check_min_cppstd(self, 20)

    def requirements(self):
        self.requires("highway/1.2.0")
        self.requires("icu/74.2")
        self.requires("nlohmann_json/3.11.3")
        self.requires("pugixml/1.14")
        self.requires("zlib/[>=1.2.11 <2]")
        if self.settings.os != "Windows" or self.options.simulator:
            self.requires("boost/1.84.0", options={"header_only": True})
            self.requires("openssl/[>=3 <4]")
        if self.settings.os != "Windows":
            self.requires("c-ares/1.28.1")
            self.requires("libcurl/[>=8.6.0 <9]", options={"with_c_ares": True})
        if self.options.simulator:
            self.requires("cli11/2.4.1")
            self.requires("gmime/3.2.7")
            self.requires("libical/3.0.17")
            self.requires("libxml2/[>=2.12.5 <3]")

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["VELMORE_BUILD_TESTS"] = False
        toolchain.cache_variables["VELMORE_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["VELMORE_BUILD_PROGRAMS"] = False
        toolchain.cache_variables["VELMORE_BUILD_SIMULATOR"] = bool(self.options.simulator)
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The package's own files for CMake say what there is and why something is not.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "VelmoreEWS")]
        self.cpp_info.includedirs = [os.path.join("include", "velmore-ews")]
        self.cpp_info.libs = ["velmore-ews"]
