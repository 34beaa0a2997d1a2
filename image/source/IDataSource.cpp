#include "image/source/IDataSource.h"

namespace nox {

IDataSource::~IDataSource() = default;

int IDataSource::sourceKind() const { return 0; }

}  // namespace nox
