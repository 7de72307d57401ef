# The model-side prompt templates the AI client renders.
ostrel_embed_text(ostrel_host qvai::data kAutocompletionTemplateV1
                  ${CMAKE_CURRENT_LIST_DIR}/data/ostrel-autocompletion-v1.txt)
# Where the "local" backend finds its built-in corpus (the examples and the library's Ostrel sources).
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/builtin_corpus.cpp PROPERTIES
  COMPILE_DEFINITIONS "OSTREL_QVAI_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\"")
