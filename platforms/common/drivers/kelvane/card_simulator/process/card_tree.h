// The folder that stands in for the host's file tree: the files by which a host finds the card, its
// node, the control socket, and root/ for what the host would keep in /root.
//
// A tree belongs to one running card, which holds the lock on its file card.lock. The kernel releases it
// when the process ends, however it ends, and the next card then takes the tree over.
#ifndef CARD_SIMULATOR_PROCESS_CARD_TREE_H
#define CARD_SIMULATOR_PROCESS_CARD_TREE_H

#include <cstdint>
#include <string>

struct card_tree {
    std::string root; // absolute, symbolic links resolved
    int root_fd = -1; // everything below is reached from here: the path may come to mean another folder
    int lock_fd = -1;
    int event_fd = -1; // written again and again, also when the card has no descriptor left
    uint32_t made = 0; // which folders a card made, by their place in the list of card_tree.cpp
    std::string link;  // symbolic link that leads to the root, or empty
};

// Makes the folders below `folder` (empty: a new one in $TMPDIR or /tmp), locks the tree, removes what dead
// cards left there and in the trees with made-up names beside it. Returns false with the reason in `problem`,
// among others when a card runs on it, or when a folder is not the user's own (platform/own_folder.h).
bool card_tree_open(card_tree &tree, const std::string &folder, std::string *problem);

// A socket that listens as the device's node, or for the operator's verbs; or -1 with the reason in
// `problem`.
int card_tree_listen_as_node(const card_tree &tree, std::string *problem);
int card_tree_listen_for_verbs(const card_tree &tree, std::string *problem);

// The other end of the latter, in the tree at `folder`; or -1 with the reason in `problem`. Blocks for up to
// 2 seconds.
int card_tree_connect(const std::string &folder, std::string *problem);

// Writes the files that describe the device; from then on a host finds it. After the node is there.
bool card_tree_publish(card_tree &tree, const std::string &device_name, uint32_t bar_bytes,
                       std::string *problem);

bool card_tree_write_event_count(const card_tree &tree, uint32_t count, std::string *problem);

// Makes `path` a symbolic link to the tree; what is there may only be a link, which is replaced.
bool card_tree_link(card_tree &tree, const std::string &path, std::string *problem);

// Removes all that this card and dead ones made and releases the lock. The host's files stay, and their
// folders.
void card_tree_close(card_tree &tree);

#endif
