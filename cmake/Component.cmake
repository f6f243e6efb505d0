# bkfd_component(NAME INIT-SOURCE OUTPUT-FOLDER): a BKFDCustom.dll whose CCustom2.Init does what the
# source says.
function(bkfd_component name init folder)
  add_library(${name} SHARED $<TARGET_OBJECTS:bkfd_components> ${init}
    ${PROJECT_SOURCE_DIR}/src/components/BKFDCustom.def
    ${PROJECT_SOURCE_DIR}/src/resources/windows/BKFDCustom.rc)
  target_compile_definitions(${name} PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX)
  target_link_libraries(${name} PRIVATE bkfd_platform_win32 ole32 oleaut32 uuid)
  target_link_options(${name} PRIVATE -s -Wl,--enable-stdcall-fixup)
  set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME BKFDCustom
    RUNTIME_OUTPUT_DIRECTORY ${folder} ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${name})
endfunction()
