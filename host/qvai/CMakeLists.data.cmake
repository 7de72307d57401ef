# The model-side prompt templates the AI client renders.
ostrel_embed_text(ostrel_host qvai::data kAutocompletionTemplateV1
                  ${CMAKE_CURRENT_LIST_DIR}/data/ostrel-autocompletion-v1.txt)

# The "local" backend's built-in corpus (the examples and the library's Ostrel sources) lives in
# share/ostrel/corpus beside the host library's lib/ folder. The build tree mirrors that layout (the
# library is built in build/host, the corpus copied to build/share), so no path into the source tree
# is compiled in and an installation can be moved.
set(ostrel_corpus_build_dir ${PROJECT_BINARY_DIR}/share/ostrel/corpus)
add_custom_target(ostrel_corpus_data
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${ostrel_corpus_build_dir}
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/examples ${ostrel_corpus_build_dir}/examples
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/host/quorvanta/library
          ${ostrel_corpus_build_dir}/library
  COMMENT "Copying the local backend's corpus")
add_dependencies(ostrel_host ostrel_corpus_data)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION share/ostrel/corpus/examples
        FILES_MATCHING PATTERN "*.ost")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/quorvanta/library/ DESTINATION share/ostrel/corpus/library
        FILES_MATCHING PATTERN "*.ost")
