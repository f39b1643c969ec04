#include "common/context.hpp"

namespace qzk {
namespace {

Context pQZcontext;

} // namespace

Context *QZ_GetContext() { return &pQZcontext; }

} // namespace qzk
