// Compiled once as it is, which must work, and once for each of the names below, which must not: roots and
// elements stay where they are.

#include <utility>

#include <vexa/ome/Root.h>

void use(OME::Root& root) {
    OME::Root& same = root;
    same = root;
#ifdef COPY_ROOT
    OME::Root copy(root);
#endif
#ifdef MOVE_ROOT
    OME::Root moved(std::move(root));
#endif
#ifdef COPY_ELEMENT
    OME::Dye copy(root.ome.provide_dyes().front());
#endif
#ifdef MOVE_ELEMENT
    OME::Dye moved(std::move(root.ome.provide_dyes().front()));
#endif
#ifdef COPY_ARRAY
    auto copy = root.ome.datasets();
#endif
#ifdef COPY_DOCUMENT
    auto copy = root.ome.creator();
#endif
}
