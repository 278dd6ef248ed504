# Writes the application's desktop entry. Run when installing: the prefix, which the entry names, is known only then.
#
#     cmake -DCMAKE_INSTALL_PREFIX=PREFIX -Dtemplate=FILE.in -Dentry=FILE -P desktop_entry.cmake
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
set(QUILLON_APPLICATION "${prefix}/lib/quillon/Quillon.app/QuillonHost")
# A quoted word of an Exec key, with backslashes doubled because the entry takes them for its own first.
string(REGEX REPLACE "([\"`$])" "\\\\\\\\\\1" QUILLON_APPLICATION "${QUILLON_APPLICATION}")
string(REPLACE "%" "%%" QUILLON_APPLICATION "${QUILLON_APPLICATION}")
configure_file("${template}" "${entry}" @ONLY)
