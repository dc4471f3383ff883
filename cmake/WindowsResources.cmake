# What a finished file says of itself.

# describe_executable(TARGET DESCRIPTION): gives the executable or DLL a version resource with the
# version of the project and this description, and an executable its manifest as well. Call it after
# the target has the name of its file.
function(describe_executable target description)
  file(STRINGS ${PROJECT_SOURCE_DIR}/LICENSE copyright REGEX "^Copyright" LIMIT_COUNT 1)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(file_type VFT_APP)
    set(manifest "CREATEPROCESS_MANIFEST_RESOURCE_ID RT_MANIFEST \"executable.manifest\"")
  else()
    set(file_type VFT_DLL)
    set(manifest "")
  endif()
  set(folder ${PROJECT_SOURCE_DIR}/cmake/resources)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${folder}/description.rc.in ${script}.in @ONLY)
  file(GENERATE OUTPUT ${script} INPUT ${script}.in)

  # A target of its own, because windres does not know the compile options of the other sources.
  add_library(${target}_resources OBJECT ${script})
  target_include_directories(${target}_resources PRIVATE ${folder})
  set_source_files_properties(${script} PROPERTIES OBJECT_DEPENDS ${folder}/executable.manifest)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_resources>)
endfunction()
