# Completes the bundle's description that the framework wrote.
#
#   cmake -D BUNDLE=folder -D URI=uri -D VERSION=major.minor.patch -D COMMENT=text -D MAKER=text
#         -D LICENCE=uri -D PARAMETERS=file -P CompleteTurtle.cmake
#
# PARAMETERS has a line describe_parameter(dsp NAME "text" TYPE "unit") for each parameter, whose type is
# Float, Int or Bool.
#
# Every change first makes sure that what it changes is there exactly once: when another version of the
# framework writes something else, the build stops instead of shipping a bundle that hosts misread.
# All files are checked and changed in memory before the first is written.

cmake_minimum_required(VERSION 3.22)

foreach(name BUNDLE URI VERSION COMMENT MAKER LICENCE PARAMETERS)
  if("${${name}}" STREQUAL "")
    message(FATAL_ERROR "CompleteTurtle: ${name} is not given")
  endif()
endforeach()

function(read_turtle name variable)
  if(NOT EXISTS "${BUNDLE}/${name}")
    message(FATAL_ERROR "CompleteTurtle: ${BUNDLE}/${name} was not written by the framework")
  endif()
  file(READ "${BUNDLE}/${name}" text)
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

function(expect_once text wanted)
  string(FIND "${text}" "${wanted}" first)
  string(FIND "${text}" "${wanted}" last REVERSE)
  if(first EQUAL -1)
    message(FATAL_ERROR "CompleteTurtle: the framework's description lacks this:\n${wanted}")
  endif()
  if(NOT first EQUAL last)
    message(FATAL_ERROR "CompleteTurtle: the framework's description has this twice:\n${wanted}")
  endif()
endfunction()

function(replace_once variable old new)
  expect_once("${${variable}}" "${old}")
  string(REPLACE "${old}" "${new}" text "${${variable}}")
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# Units by their symbols; a switch and a plain number have none.
set(unit_Hz "units:hz")
set(unit_% "units:pc")
string(CONCAT unit_Hz/s "[\n\t\ta units:Unit ;\n\t\trdfs:label \"hertz per second\" ;\n"
  "\t\tunits:symbol \"Hz/s\" ;\n\t\tunits:render \"%f Hz/s\" ;\n\t]")

# The framework says of everything that it is a real number. It tells of steps by properties, which only
# ports can have, and lists all values of a number in steps as shares of its range.
set(described 0)
function(describe_parameter variable name comment type unit)
  set(text "${${variable}}")
  set(head "plug:${name}\n\ta lv2:Parameter ;\n\trdfs:label \"${name}\" ;\n")
  expect_once("${text}" "${head}")
  string(FIND "${text}" "${head}" start)
  string(SUBSTRING "${text}" ${start} -1 before)
  string(FIND "${before}" " .\n\n" length)
  string(SUBSTRING "${before}" 0 ${length} before)

  set(block "${before}")
  set(addition "\trdfs:comment \"${comment}\" ;\n")
  if(NOT unit STREQUAL "")
    if(NOT DEFINED "unit_${unit}")
      message(FATAL_ERROR "CompleteTurtle: no LV2 unit is known for '${unit}'")
    endif()
    string(APPEND addition "\tunits:unit ${unit_${unit}} ;\n")
  endif()
  replace_once(block "${head}" "${head}${addition}")
  replace_once(block "\trdfs:range atom:Float ;\n" "\trdfs:range atom:${type} ;\n")
  if(type STREQUAL "Int")
    set(steps "\t ;\n\tlv2:portProperty lv2:enumeration ;\n\tlv2:scalePoint ")
    expect_once("${block}" "${steps}")
    string(FIND "${block}" "${steps}" length)
    string(SUBSTRING "${block}" 0 ${length} block)
  elseif(type STREQUAL "Bool")
    replace_once(block "\t ;\n\tlv2:portProperty lv2:enumeration , lv2:toggled ;\n" " ;\n")
    replace_once(block "\"Off \"" "\"Off\"")
    replace_once(block "\"On \"" "\"On\"")
  endif()
  replace_once(text "${before} .\n\n" "${block} .\n\n")
  set(${variable} "${text}" PARENT_SCOPE)
  math(EXPR described "${described} + 1")
  set(described ${described} PARENT_SCOPE)
endfunction()

if(NOT VERSION MATCHES "^[0-9]+\\.([0-9]+)\\.([0-9]+)$")
  message(FATAL_ERROR "CompleteTurtle: '${VERSION}' is no version of three numbers")
endif()
set(minor "${CMAKE_MATCH_1}")
set(micro "${CMAKE_MATCH_2}")

read_turtle(dsp.ttl dsp)
expect_once("${dsp}" "@prefix plug:  <${URI}:> .\n")
expect_once("${dsp}" "\n<${URI}>\n")
expect_once("${dsp}" "\tdoap:name \"Kalim\" ;\n")
expect_once("${dsp}" "\tlv2:minorVersion ${minor} ;\n")
expect_once("${dsp}" "\tlv2:microVersion ${micro} ;\n")
expect_once("${dsp}" "\t\tfoaf:name \"${MAKER}\" ;\n")
expect_once("${dsp}" "lv2:reportsLatency")
# The maker and the releases belong to a project, which the plug-in therefore has to be as well.
replace_once(dsp "\ta lv2:Plugin ;\n" "\ta lv2:Plugin , lv2:FilterPlugin , doap:Project ;\n")
replace_once(dsp "\tdoap:name \"Kalim\" ;\n"
  "\tdoap:name \"Kalim\" ;\n\tdoap:license <${LICENCE}> ;\n\trdfs:comment \"${COMMENT}\" ;\n")
# Empty references would stand for the description file itself.
replace_once(dsp "\t\tfoaf:homepage <> ;\n\t\tfoaf:mbox <> ;\n" "")
include("${PARAMETERS}")
string(REGEX MATCHALL "\ta lv2:Parameter " parameters "${dsp}")
list(LENGTH parameters parameter_count)
if(NOT parameter_count EQUAL described)
  message(FATAL_ERROR "CompleteTurtle: ${parameter_count} parameters, ${described} described")
endif()

read_turtle(manifest.ttl manifest)
expect_once("${manifest}" "\n<${URI}>\n\ta lv2:Plugin ;\n\tlv2:binary <")
# Programs are referred to by a property that only the framework knows.
string(FIND "${manifest}" "a pset:Preset ;" preset)
if(NOT preset EQUAL -1)
  set(program "<${URI}:Program>")
  string(FIND "${manifest}" "\tstate:state [ ${program} \"0\"^^xsd:int ; ] .\n" state)
  if(state EQUAL -1)
    message(FATAL_ERROR "CompleteTurtle: programs do not look as expected in the manifest")
  endif()
  string(APPEND manifest
    "${program}\n\ta lv2:Parameter ;\n\trdfs:label \"Program\" ;\n\trdfs:range xsd:int .\n")
endif()

string(FIND "${manifest}" "<${URI}:UI>" has_editor)
if(NOT has_editor EQUAL -1)
  read_turtle(ui.ttl ui)
  # Features and functions must not stand in each other's list.
  replace_once(ui "\t\topts:interface ,\n\t\tui:noUserResize ,\n\t\tui:resize ;\n"
    "\t\topts:interface ,\n\t\tui:resize ;\n")
  replace_once(ui " ,\n\t\topts:interface ,\n\t\topts:options ;\n" " ,\n\t\topts:options ;\n")
  file(WRITE "${BUNDLE}/ui.ttl" "${ui}")
endif()
file(WRITE "${BUNDLE}/manifest.ttl" "${manifest}")
file(WRITE "${BUNDLE}/dsp.ttl" "${dsp}")
