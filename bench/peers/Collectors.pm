# The collectors that bench/peers/survey puts through its trials: how each is started, told to rotate,
# and read. One runs at a time.
package Collectors;
use strict;
use warnings;
use Exporter 'import';
use File::Basename;
use File::Path qw(remove_tree);
use File::Temp qw(tempdir);
use Socket;
use Time::HiRes qw(sleep time);

our @EXPORT = qw(collectors start end rotate connected logged bytes_on_disk pids work_file start_ms);

my $here = dirname(__FILE__);
our $tavok = "$here/../../build/release/tavok";

# Of the one that runs: its definition, directory, processes from receiver to writer, the writer's
# standard input where no receiver is in front, tavok's semaphore, and how long the start took.
my ($current, $at, @pids, $feed, $semaphore, $start_ms);

sub program {
  my ($name) = @_;
  return (grep { -x } map { "$_/$name" } split(/:/, $ENV{PATH}), '/usr/sbin', '/sbin')[0] // '';
}

sub contents {
  my ($file) = @_;
  open my $in, '<:raw', $file or return '';
  local $/;
  return <$in> // '';
}

sub work_file { return "$at/$_[0]" }

sub written {
  my ($name, $text) = @_;
  open my $out, '>', "$at/$name" or die "$at/$name: $!";
  print $out $text;
  close $out or die "$at/$name: $!";
  return "$at/$name";
}

sub free_port {
  my $socket;
  socket($socket, AF_INET, SOCK_DGRAM, 0) && bind($socket, sockaddr_in(0, INADDR_LOOPBACK))
    or die "bind: $!";
  return (sockaddr_in(getsockname $socket))[0];
}

# A configuration of this folder; $as_installed: with the queues and batches of its defaults.
sub configured {
  my ($name, $as_installed) = @_;
  my $text = contents("$here/$name");
  my %value = (DIRECTORY => $at, SOCKET => "$at/socket", LOG => "$at/log/current", PORT => free_port());
  $text =~ s/\@([A-Z]+)\@/$value{$1}/g;
  $text =~ s/^main_queue.*\n|\s+queue\.type="Direct"|threaded\(no\);|(flush-lines|log-fetch-limit)\(1\);?//mg
    if $as_installed;
  return written($name, $text);
}

sub tavok_stages {
  $semaphore = semget(0, 1, 0600) // die "semget: $!";
  my $conf = written('conf', "[LogServer]\nDirName=$at/log\nPort=$at/socket\nPidFileName=$at/pid\n");
  return [$tavok, '-c', $conf, '-s', $semaphore];
}

sub rsyslogd_stages {
  my $program = program('rsyslogd');
  my ($modules) = glob dirname($program) . '/../lib/*-linux-gnu/rsyslog';
  return [$program, '-n', '-f', configured('rsyslogd.conf', @_), '-i', "$at/pid", '-M', $modules];
}

sub syslog_ng_stages {
  my $conf = configured('syslog-ng.conf', @_);
  return ['syslog-ng', '-F', '--no-caps', '-f', $conf, '--persist-file', "$at/persist",
    '-c', "$at/control", '--pidfile', "$at/pid"];
}

sub svlogd_stages {
  written('log/config', "s0\nn0\n");
  return ['svlogd', "$at/log"];
}

sub s6_log_stages { return ['s6-log', '-b', 'n100000', 's268435455', "$at/log"] }

sub hup { kill HUP => $pids[0] }
sub alarm_writer { kill ALRM => $pids[-1] }

sub rename_and_hup {
  my ($n) = @_;
  rename "$at/log/current", sprintf('%s/log/@%04d', $at, $n) or die "rename: $!";
  hup();
}

# A star: with the queues and batches that it has unless told otherwise.
my @collectors = (
  {name => 'tavok', stages => \&tavok_stages, rotate => \&hup},
  {name => 'rsyslogd', stages => \&rsyslogd_stages, rotate => \&rename_and_hup},
  {name => 'rsyslogd*', stages => sub { rsyslogd_stages(1) }, rotate => \&rename_and_hup},
  {name => 'syslog-ng', stages => \&syslog_ng_stages, rotate => \&rename_and_hup},
  {name => 'syslog-ng*', stages => sub { syslog_ng_stages(1) }, rotate => \&rename_and_hup},
  {name => 'socklog, svlogd', rotate => \&alarm_writer,
    stages => sub { (['socklog', 'unix', "$at/socket"], svlogd_stages()) }},
  {name => 's6-socklog, s6-log', rotate => \&alarm_writer,
    stages => sub { (['s6-socklog', '-r', '-x', "$at/socket"], s6_log_stages()) }},
  {name => 'svlogd', stages => \&svlogd_stages, rotate => \&alarm_writer, fed => 1},
  {name => 's6-log', stages => \&s6_log_stages, rotate => \&alarm_writer, fed => 1},
  {name => 'journald', rotate => sub { system 'journalctl --quiet --rotate' }},
);

sub needs {
  my ($collector) = @_;
  return ('journalctl') unless $collector->{stages};
  return $tavok if $collector->{name} eq 'tavok';
  return map { s/\*//r } split /, /, $collector->{name};
}

sub installed {
  my ($collector) = @_;
  return !grep { !-x && program($_) eq '' } needs($collector);
}

# The system's own journal only if asked for: it is emptied.
sub collectors {
  my ($asked) = @_;
  my %asked = map { $_ => 1 } split /\+/, $asked;
  return grep { installed($_) && (%asked ? $asked{$_->{name}} : $_->{stages}) } @collectors;
}

sub pids { return @pids }
sub start_ms { return $start_ms }
sub rotate { $current->{rotate}->(@_) }

sub spawn {
  my ($in, $out, @command) = @_;
  my $pid = fork // die "fork: $!";
  return $pid if $pid;
  open STDIN, '<&', $in or die;
  open STDOUT, '>&', $out or die;
  open STDERR, '>>', "$at/said" or die;
  $ENV{PATH} .= ':/usr/sbin:/sbin';
  exec @command or die "$command[0]: $!";
}

# Each stage's standard output is the next one's input.
sub spawn_all {
  open my $in, '+<', '/dev/null' or die;
  open my $null, '+<', '/dev/null' or die;
  if ($current->{fed}) { pipe($in, $feed) or die "pipe: $!" }
  my @stages = @_;
  while (my $stage = shift @stages) {
    my ($next, $out) = (undef, $null);
    if (@stages) { pipe($next, $out) or die "pipe: $!" }
    push @pids, spawn($in, $out, @$stage);
    $in = $next;
  }
}

sub start {
  ($current) = @_;
  $at = tempdir('tavok-survey-XXXXXX', TMPDIR => 1);
  mkdir "$at/log";
  my @stages = $current->{stages} ? $current->{stages}->() : ();
  my $begin = time;
  spawn_all(@stages);
  sleep 0.0002 until eval { connected() } || time > $begin + 10;
  $start_ms = 1000 * (time - $begin);
  @pids = `systemctl show --value --property=MainPID systemd-journald` + 0 unless @stages;
}

sub end {
  undef $feed;
  if ($current->{stages}) {
    kill KILL => @pids;
    waitpid $_, 0 for @pids;
  } else {
    system 'journalctl --quiet --rotate --vacuum-size=1K';
  }
  semctl($semaphore, 0, 0, 0) if defined $semaphore;
  remove_tree($at);
  ($semaphore, @pids) = ();
}

# Also when a trial fails or is interrupted; but not at the end of a sender, which is a child.
my $owner = $$;
$SIG{INT} = $SIG{TERM} = sub { exit 1 };
END { local $?; end() if $$ == $owner && @pids }

sub connected {
  return $feed if $feed;
  my $path = $current->{stages} ? "$at/socket" : '/run/systemd/journal/dev-log';
  my $socket;
  socket($socket, AF_UNIX, SOCK_DGRAM, 0) && connect($socket, sockaddr_un($path)) or die "$path: $!\n";
  return $socket;
}

# Oldest first, the current one last.
sub log_files {
  my @names = map { basename $_ } glob "$at/log/*";
  my @moved = sort grep { /^@|^tavok_/ } @names;
  return map { "$at/log/$_" } @moved, grep { /^current$|^tmp\.tavok$/ } @names;
}

sub logged {
  return join '', map { contents($_) } log_files() if $current->{stages};
  system 'journalctl --sync';
  return scalar `journalctl --quiet --all --output=cat _TRANSPORT=syslog`;
}

sub bytes_on_disk {
  my @files = $current->{stages} ? log_files() : glob '/var/log/journal/*/*';
  my $bytes = 0;
  $bytes += -s $_ // 0 for @files;
  return $bytes;
}

1;
