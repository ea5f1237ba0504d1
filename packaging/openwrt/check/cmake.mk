# Stands in for the tree's include/cmake.mk; $(TOOLCHAIN) is a CMake toolchain file.
define Build/Configure
	cmake -S $(PKG_BUILD_DIR) -B $(PKG_BUILD_DIR)/build -G Ninja --toolchain $(TOOLCHAIN) \
		-DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_CXX_FLAGS="-Os -Wno-psabi" $(CMAKE_OPTIONS)
endef

define Build/Compile
	cmake --build $(PKG_BUILD_DIR)/build
	DESTDIR=$(PKG_INSTALL_DIR) cmake --install $(PKG_BUILD_DIR)/build
endef
