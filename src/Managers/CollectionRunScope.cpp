#include "Managers/CollectionRunScope.h"

namespace rqb {
namespace {

thread_local CollectionRunScope* t_current = nullptr;

}  // namespace

CollectionRunScope::CollectionRunScope() : enclosing_(t_current) { t_current = this; }

CollectionRunScope::~CollectionRunScope() { t_current = enclosing_; }

CollectionRunScope* CollectionRunScope::Current() { return t_current; }

}  // namespace rqb
