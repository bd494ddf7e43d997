#pragma once
// Where a clip hands control to someone else's code: a message pump or a wait that lets other
// windows' procedures run, a message sent to a window of another program or of the host, a call
// into the host's object model. The fault guard leaves a fault raised there to the host, whose code
// it is (docs/clip-driver.md, "Whose fault"). Per thread; scopes nest.
namespace Tessarix {

// Control is in foreign code until the scope ends.
class ForeignCodeScope {
public:
    ForeignCodeScope() noexcept;
    ~ForeignCodeScope();
    ForeignCodeScope(const ForeignCodeScope&) = delete;
    ForeignCodeScope& operator=(const ForeignCodeScope&) = delete;

private:
    bool saved_;
};

// Control is in the add-in's own code again (a fault guard entered from anywhere) until the next
// ForeignCodeScope inside it or the end of the scope. It also forgets a ForeignCodeScope that
// someone else's unwind abandoned without ending it.
class OwnCodeScope {
public:
    OwnCodeScope() noexcept;
    ~OwnCodeScope();
    OwnCodeScope(const OwnCodeScope&) = delete;
    OwnCodeScope& operator=(const OwnCodeScope&) = delete;

private:
    bool saved_;
};

bool InForeignCode() noexcept;

} // namespace Tessarix
