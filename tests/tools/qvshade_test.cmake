# Runs qvshade in tests/data/qvshade and compares what it writes with the files there.
#
#   cmake -DQVSHADE=<program, a list> -DVERSION=<its version> -DEMULATED=<boolean> -DOUTPUT=<folder>
#         -P qvshade_test.cmake
set(data "${CMAKE_CURRENT_LIST_DIR}/../data/qvshade")
file(REMOVE_RECURSE "${OUTPUT}")
file(MAKE_DIRECTORY "${OUTPUT}")

function(compare file)
  set(expected "${data}/${file}")
  if(NOT EXISTS "${expected}")
    set(expected "${OUTPUT}/nothing")
    file(WRITE "${expected}" "")
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${expected}" "${OUTPUT}/${file}"
                  RESULT_VARIABLE different)
  if(different)
    execute_process(COMMAND diff -u "${expected}" "${OUTPUT}/${file}")
    message(SEND_ERROR "${file} differs")
  endif()
endfunction()

# Standard output must be the file NAME.out, standard error NAME.err; a missing one means nothing.
function(run name status)
  execute_process(
    COMMAND ${QVSHADE} ${ARGN}
    WORKING_DIRECTORY "${data}"
    OUTPUT_FILE "${OUTPUT}/${name}.out"
    ERROR_FILE "${OUTPUT}/${name}.err"
    RESULT_VARIABLE result)
  if(NOT result STREQUAL status)
    message(SEND_ERROR "${name}: status ${result} where ${status} was expected")
  endif()
  compare(${name}.out)
  compare(${name}.err)
endfunction()

run(check 0 check base.qvs shades.qvs)
run(check_library 0 check -l base.qvs shades.qvs)
run(check_broken 1 check base.qvs broken.qvs)
run(check_warnings 0 check base.qvs warnings.qvs)
run(check_werror 1 check --werror -W no-unused-parameter -l base.qvs warnings.qvs)
run(check_json 0 check -l base.qvs warnings.qvs --format=json)
# The documents show one such output, from the root of the project.
execute_process(
  COMMAND ${QVSHADE} check -l stdlib/stdlib.qvs tests/data/diagnostics/example.qvs
  WORKING_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}/../.."
  ERROR_VARIABLE example)
foreach(document README.md docs/diagnostics.md)
  file(READ "${CMAKE_CURRENT_LIST_DIR}/../../${document}" text)
  string(FIND "${text}" "\n${example}```" place)
  if(place EQUAL -1)
    message(SEND_ERROR "${document} does not show what qvshade prints:\n${example}")
  endif()
endforeach()
run(list_broken 1 list -l base.qvs broken.qvs)
run(check_missing 1 check nowhere.qvs)
run(check_folder 1 check .)
run(list 0 list -l base.qvs shades.qvs)
run(list 0 list -l base.qvs -- shades.qvs)
run(list_name 0 list -l base.qvs shades.qvs shade)
run(list_signature 0 list base.qvs "operator*(float3, float3)")
run(list_unknown 3 list base.qvs shade)

run(graph 0 graph --library base.qvs shades.qvs halves)
run(graph_freqs 0 graph -l base.qvs shades.qvs "shade(float3,float3,float3)" --freqs)
run(graph_types 0 graph -l base.qvs shades.qvs "shade( float3, float )" --types)
run(graph_declared 0 graph base.qvs dot)
run(graph_ambiguous 3 graph -l base.qvs shades.qvs shade)
run(graph_unknown 3 graph -l base.qvs shades.qvs "shade(float)")

run(expand 0 expand -l base.qvs shades.qvs "shade(float3,float3,float3)" --freqs)
run(expand_declared 0 expand base.qvs dot)
run(expand_partial 3 expand -l base.qvs partial.qvs uses)
run(order 0 order -l base.qvs shades.qvs "shade(float3,float3,float3)")
run(order_fast 0 order -l base.qvs shades.qvs "shade(float3,float3,float3)" --fast)
run(order_outputs 0 order -l base.qvs shades.qvs halves --optimal)
run(order_unneeded 0 order -l base.qvs partial.qvs forgets)
run(order_declared 0 order base.qvs dot)
run(stats 0 stats -l base.qvs shades.qvs)
run(stats_partial 3 stats -l base.qvs partial.qvs)

execute_process(COMMAND ${QVSHADE} --version OUTPUT_VARIABLE version)
if(NOT version STREQUAL "qvshade ${VERSION}\n")
  message(SEND_ERROR "--version prints '${version}'")
endif()

run(help 0 check --help)
run(no_command 2)
run(bad_command 2 draw base.qvs)
run(bad_option 2 check base.qvs --types)
run(bad_format 2 check base.qvs --format=xml)
run(bad_count 2 graph base.qvs)
run(bad_value 2 graph base.qvs dot -o)
run(bad_option 2 check --types -- base.qvs)
run(bad_ending 4 graph base.qvs dot -o dot.jpg)
run(bad_folder 4 graph base.qvs dot -o nowhere/dot.dot)

# An empty name is a name; run() cannot hand one over.
foreach(command "graph;base.qvs;dot;-o" "list;base.qvs")
  execute_process(COMMAND ${QVSHADE} ${command} "" WORKING_DIRECTORY "${data}" RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
  list(APPEND results ${result})
endforeach()
if(NOT results STREQUAL "2;3")
  message(SEND_ERROR "empty names: status ${results} where 2;3 was expected")
endif()

# The text in a file is the text on standard output, also where Graphviz would not take the name.
run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/operator.dot")
compare(operator.dot)
if(NOT EMULATED)
  # No room: an error, and for what is drawn as well. A link is followed.
  foreach(kind dot svg)
    file(CREATE_LINK /dev/full "${OUTPUT}/full.${kind}" SYMBOLIC)
    execute_process(COMMAND ${QVSHADE} graph base.qvs dot -o "${OUTPUT}/full.${kind}" WORKING_DIRECTORY "${data}"
                    RESULT_VARIABLE result ERROR_VARIABLE error)
    if(NOT result EQUAL 4 OR NOT error STREQUAL "qvshade: cannot write '${OUTPUT}/full.${kind}'\n")
      message(SEND_ERROR "a full device: status ${result}, ${error}")
    endif()
  endforeach()
endif()
if(EMULATED)
  run(no_dot 4 graph base.qvs dot -o dot.svg)
  # What stands in for it gets the whole graph, however long, and no shell touches the file's name.
  set(ENV{WINEPATH} "$ENV{FAKE_DOT}")
  set(shades graph -l base.qvs shades.qvs halves)
  run(nothing 0 ${shades} -o "${OUTPUT}/100%PATH%.svg")
  file(READ "${OUTPUT}/100%PATH%.svg" drawn)
  file(READ "${data}/graph.out" text)
  string(REPLACE "\r\n" "\n" drawn "${drawn}")
  string(REPLACE "digraph halves" "digraph \"halves\"" text "${text}")
  if(NOT drawn STREQUAL "-Tsvg\n${text}")
    message(SEND_ERROR "dot was given ${drawn}")
  endif()
else()
  find_program(dot dot)
  if(dot)
    run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/it's.SVG")
    run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/operator.png")
    # A name that looks like an option does not reach dot.
    execute_process(COMMAND ${QVSHADE} graph "${data}/base.qvs" dot -o -x.svg WORKING_DIRECTORY "${OUTPUT}"
                    RESULT_VARIABLE result)
    if(result OR NOT EXISTS "${OUTPUT}/-x.svg")
      message(SEND_ERROR "-o -x.svg: status ${result}")
    endif()
    file(READ "${OUTPUT}/it's.SVG" svg)
    file(READ "${OUTPUT}/operator.png" png LIMIT 8 HEX)
    if(NOT svg MATCHES "<title>operator&#45;</title>" OR NOT png STREQUAL "89504e470d0a1a0a")
      message(SEND_ERROR "the drawn pictures are not those of the graph")
    endif()
  endif()
  set(ENV{PATH} "${OUTPUT}")
  run(no_dot 4 graph base.qvs dot -o dot.svg)
endif()
