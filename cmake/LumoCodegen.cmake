# lumo_notify_header(<template> <output> [FOR <target>])
# lumo_dispatch_header(<template> <output> [FOR <target>])
# Write <output> from <template> and the notification table (gen_notify.py) or
# the dispatch table (gen_dispatch.py) at build time, so that moc sees what
# the table declares. With FOR, the header becomes a source of <target>, which
# may live in another folder; otherwise the caller lists it among the sources
# of a target of its own folder.
function(lumo_table_header generator table template output)
  cmake_parse_arguments(G "" "FOR" "" ${ARGN})
  set(codegen ${PROJECT_SOURCE_DIR}/cmake/codegen)
  get_filename_component(name ${output} NAME_WE)
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${Python3_EXECUTABLE} ${codegen}/${generator} ${table} ${template} ${output}
    DEPENDS ${codegen}/${generator} ${codegen}/lumotables.py ${table} ${template}
    COMMENT "Generating ${name}.h from ${table}"
    VERBATIM)
  if(G_FOR)
    # The custom target gives the command a rule that a target defined in
    # another folder can depend on.
    add_custom_target(${name}_codegen DEPENDS ${output})
    add_dependencies(${G_FOR} ${name}_codegen)
    target_sources(${G_FOR} PRIVATE ${output})
  endif()
endfunction()

function(lumo_notify_header)
  lumo_table_header(gen_notify.py ${PROJECT_SOURCE_DIR}/src/notify/klumonotifications.def ${ARGN})
endfunction()

function(lumo_dispatch_header)
  lumo_table_header(gen_dispatch.py ${PROJECT_SOURCE_DIR}/src/dispatch/klumodispatchtable.def
                    ${ARGN})
endfunction()
