# Draws the pictures of the Windows program from their SVG sources.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_program(ICOTOOL icotool REQUIRED)
find_program(CONVERT convert REQUIRED)
# The same pixels in fewer bytes than the drawing program writes, and no dates.
set(BKFD_SMALL_PNG -define png:compression-level=9 -define png:compression-strategy=0
  -define png:compression-filter=1 -define png:exclude-chunks=all)
set(BKFD_PICTURES ${PROJECT_SOURCE_DIR}/src/resources/pictures)
set(BKFD_DRAWN ${PROJECT_BINARY_DIR}/generated/resources/windows)

# bkfd_icon(NAME CRISP sizes SMOOTH sizes LARGE sizes): NAME.ico of pictures/NAME.svg. CRISP ones are
# in the few colours, without half tones, of systems that know no transparency; SMOOTH ones in full
# colour; LARGE ones are compressed, which Windows has known since Vista.
function(bkfd_icon name)
  cmake_parse_arguments(ARG "" "" "CRISP;SMOOTH;LARGE" ${ARGN})
  set(source ${BKFD_PICTURES}/${name}.svg)
  set(style ${BKFD_PICTURES}/crisp.css)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${name})
  set(draw "")
  set(pictures "")
  foreach(look CRISP SMOOTH LARGE)
    foreach(size IN LISTS ARG_${look})
      set(picture ${folder}/${look}${size}.png)
      set(options -w ${size} -h ${size})
      if(look STREQUAL "CRISP")
        list(APPEND options --stylesheet ${style})
      endif()
      list(APPEND draw COMMAND ${RSVG_CONVERT} ${options} ${source} -o ${picture})
      if(look STREQUAL "LARGE")
        list(APPEND draw COMMAND ${CONVERT} ${picture} ${BKFD_SMALL_PNG} PNG32:${picture})
        list(APPEND pictures --raw=${picture})
      else()
        list(APPEND pictures ${picture})
      endif()
    endforeach()
  endforeach()
  add_custom_command(OUTPUT ${BKFD_DRAWN}/${name}.ico
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    ${draw}
    COMMAND ${ICOTOOL} -c -o ${BKFD_DRAWN}/${name}.ico ${pictures}
    DEPENDS ${source} ${style}
    COMMENT "Drawing ${name}.ico" VERBATIM)
endfunction()

# bkfd_bitmap(NAME PICTURE WIDTH COLOURS): NAME.bmp of pictures/PICTURE.svg, WIDTH pixels wide, with a
# palette and run lengths, which all systems know.
function(bkfd_bitmap name picture width colours)
  set(source ${BKFD_PICTURES}/${picture}.svg)
  set(drawn ${CMAKE_CURRENT_BINARY_DIR}/${name}.png)
  add_custom_command(OUTPUT ${BKFD_DRAWN}/${name}.bmp
    COMMAND ${RSVG_CONVERT} -w ${width} --keep-aspect-ratio ${source} -o ${drawn}
    COMMAND ${CONVERT} ${drawn} -alpha off +dither -colors ${colours} -type Palette -compress RLE
      BMP3:${BKFD_DRAWN}/${name}.bmp
    DEPENDS ${source}
    COMMENT "Drawing ${name}.bmp" VERBATIM)
endfunction()
