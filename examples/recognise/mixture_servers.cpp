#include "mixture_servers.hpp"

namespace recognise {

Matrix withEnd(const Matrix &features) {
    Matrix longer(features.rows() + 1, features.columns() + 1);
    for (std::size_t frame = 0; frame < features.rows(); ++frame)
        std::copy_n(features[frame], features.columns(), longer[frame]);
    longer[features.rows()][features.columns()] = endMark;
    return longer;
}

} // namespace recognise
