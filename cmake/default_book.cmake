# The opening book that hosts play from, made from data/openings.tsv by the program itself.
#
# It is where an installed program would look, not beside the program: the engine looks for a bare
# name of a book there, and so do the tests' engines, which are to have no book.

set(default_book_folder "${CMAKE_BINARY_DIR}/share/torval")
set(default_book "${default_book_folder}/TORVAL.BK1")
file(MAKE_DIRECTORY "${default_book_folder}")
add_custom_command(
    OUTPUT "${default_book}"
    COMMAND torval book make "${default_book}" --openings --force
    DEPENDS torval
    COMMENT "Making the opening book"
    VERBATIM)
add_custom_target(default_book ALL DEPENDS "${default_book}")

install(FILES "${default_book}" DESTINATION "${CMAKE_INSTALL_DATADIR}/torval")
install(FILES "${PROJECT_SOURCE_DIR}/data/openings.LICENSE" TYPE DOC)
