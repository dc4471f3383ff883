# The product: what operators install. The target "product" builds it, and product.json beside the
# executables tells ./package what it is.
set(product_targets VeltraneVpnService veltranectl VeltraneSetup)
add_custom_target(product DEPENDS ${product_targets})

foreach(target ${product_targets})
  # What the linker took, member by member: the bill of materials is made from it.
  target_link_options(${target} PRIVATE -Wl,-Map=$<TARGET_FILE:${target}>.map)
  list(APPEND product_files "\"$<TARGET_FILE:${target}>\"")
endforeach()
list(JOIN product_files ", " product_files)
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/product.json CONTENT "{
  \"name\": \"Veltrane VPN\",
  \"publisher\": \"Veltrane\",
  \"version\": \"${PROJECT_VERSION}\",
  \"executables\": [${product_files}]
}
")
