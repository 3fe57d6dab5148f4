# SPDX-License-Identifier: Apache-2.0
"""libteko for Conan 2: conan create packaging/conan"""
import pathlib
import re

from conan import ConanFile
from conan.tools.build import stdcpp_library
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, rmdir


class Teko(ConanFile):
    name = 'teko'
    description = 'Codec for still images, whose files can be cut anywhere'
    license = 'Apache-2.0'
    package_type = 'library'
    settings = 'os', 'arch', 'compiler', 'build_type'
    options = {'shared': [True, False], 'fPIC': [True, False]}
    default_options = {'shared': False, 'fPIC': True}
    implements = ['auto_shared_fpic']

    def sources(self):
        return pathlib.Path(self.recipe_folder).parents[1]

    def set_version(self):
        project = (self.sources() / 'CMakeLists.txt').read_text()
        self.version = re.search(r'project\(teko VERSION ([\d.]+)', project).group(1)

    def export_sources(self):
        for pattern in ('CMakeLists.txt', 'LICENSE', 'cmake/*', 'include/*', 'src/*'):
            copy(self, pattern, self.sources(), self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables['TEKO_BUILD_TESTS'] = 'OFF'
        toolchain.cache_variables['TEKO_BUILD_PROGRAM'] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, 'LICENSE', self.source_folder, f'{self.package_folder}/licenses')
        # Conan writes its own, for every build system.
        rmdir(self, f'{self.package_folder}/lib/cmake')
        rmdir(self, f'{self.package_folder}/lib/pkgconfig')

    def package_info(self):
        self.cpp_info.libs = ['teko']
        self.cpp_info.set_property('cmake_target_name', 'teko::teko')
        self.cpp_info.set_property('pkg_config_name', 'teko')
        if not self.options.shared:
            self.cpp_info.defines = ['TEKO_STATIC']
            self.cpp_info.system_libs = ['m', *filter(None, [stdcpp_library(self)])]
