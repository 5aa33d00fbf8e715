#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/operator_tree.h"

#include <cstdio>
#include <cstring>
#include <set>

/* Called by the shell's completion with the words before the cursor; prints the words that may follow. */
static int run(int argc, char **argv) {
    std::vector<const char *> words;
    for (int i = 1; i < argc; i++)
        if (strncmp(argv[i], "--", 2) != 0) words.push_back(argv[i]);
    std::set<std::string> follow;
    if (words.empty())
        for (size_t i = 0; i < ctl_command_count; i++) follow.insert(ctl_commands[i]->name);
    else
        for (const std::string &word :
             operator_follow(words[0], std::span<const char *const>(words).subspan(1)))
            if (word[0] != '<') follow.insert(word);
    if (words.size() == 1 && strcmp(words[0], "show") == 0) follow.insert("tech");
    if (words.size() == 1 && strcmp(words[0], "clear") == 0) follow.insert({"route", "adjacency"});
    for (const std::string &word : follow) printf("%s\n", word.c_str());
    return CTL_GOOD;
}

const ctl_command ctl_command_complete = {
    "complete", "WORDS...", "the words that may follow, for the shell",
    "Prints the words that may follow the given ones. The completion of bash uses it:\n"
    "  source tools/lcfwdctl/completion.bash\n",
    run};
