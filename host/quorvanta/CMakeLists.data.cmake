# The function lists of the Ostrel library, compiled into the host so that no install path is needed.
ostrel_embed_text(ostrel_host Quorvanta::data kBuiltinFunctions ${CMAKE_CURRENT_LIST_DIR}/data/builtin-functions.txt)
ostrel_embed_text(ostrel_host Quorvanta::data kLibraryFunctions ${CMAKE_CURRENT_LIST_DIR}/data/library-functions.txt)
