# The grammar of the command language is generated with byacc at build time.
find_program(OXGW_BYACC byacc REQUIRED)
set(oxgw_grammar_in ${CMAKE_SOURCE_DIR}/OXParser/oxcommandgrammar.y)
set(oxgw_grammar_out ${OXGW_GENERATED_DIR}/oxcommandgrammar.cpp)
add_custom_command(
  OUTPUT ${oxgw_grammar_out}
  COMMAND ${OXGW_BYACC} -p oxcmd -o ${oxgw_grammar_out} ${oxgw_grammar_in}
  DEPENDS ${oxgw_grammar_in}
  COMMENT "Generating the command grammar with byacc"
  VERBATIM)
# Generated code: its own warnings are not ours to fix. The prefix renames
# the parser's globals (oxcmdparse ...); yyerror keeps its name, so that the
# grammar actions can call OXCommandParser::yyerror.
set_source_files_properties(${oxgw_grammar_out} PROPERTIES GENERATED TRUE COMPILE_OPTIONS -w
                            COMPILE_DEFINITIONS "yyerror=yyerror")
target_sources(OXParser PRIVATE ${oxgw_grammar_out})
