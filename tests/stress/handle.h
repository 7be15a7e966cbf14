#ifndef KZ_STRESS_HANDLE_H
#define KZ_STRESS_HANDLE_H

#include <memory>

#include "kzstatisticsgenerator.h"

/// A client handle and the id that it was made with. Compatible.
struct Handle {
    Handle(CKZStatGenMain& main, int clientId)
        : id(clientId), client(std::make_unique<CKZStatGenClient>(&main, clientId)) {}

    int id;
    std::unique_ptr<CKZStatGenClient> client;
};

#endif
