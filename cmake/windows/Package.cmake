# What is installed on Windows: the programs with Resources beside them, as they find them, and the words of
# the licenses. scripts/package-windows.sh makes the installer and the zip of it. Included last, when all
# targets exist.
install(TARGETS Tessivar tessivar-cli RUNTIME DESTINATION .)
install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Resources DESTINATION .)
install(FILES LICENSE DESTINATION . RENAME LICENSE.txt)
install(FILES packaging/windows/README.txt DESTINATION .)
install(FILES packaging/debian/copyright DESTINATION licenses RENAME tessivar.txt)
install(FILES docs/cli-json.md docs/cli.schema.json CHANGELOG.md DESTINATION documents)

configure_file(packaging/windows/product.nsh.in ${PROJECT_BINARY_DIR}/product.nsh @ONLY)
