# ostrel_embed_text(<target> <namespace> <symbol> <file>)
# Compiles <file> into <target> as `extern const std::string_view <namespace>::<symbol>`,
# so that data shipped with the project (word lists, templates) needs no install path.
function(ostrel_embed_text target namespace symbol file)
  get_filename_component(abs "${file}" ABSOLUTE)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/embedded/${symbol}.cpp")
  add_custom_command(
    OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DINPUT=${abs} -DOUTPUT=${out} -DNAMESPACE=${namespace} -DSYMBOL=${symbol}
            -P "${PROJECT_SOURCE_DIR}/cmake/EmbedTextScript.cmake"
    DEPENDS "${abs}" "${PROJECT_SOURCE_DIR}/cmake/EmbedTextScript.cmake"
    COMMENT "Embedding ${file}")
  target_sources(${target} PRIVATE "${out}")
endfunction()
